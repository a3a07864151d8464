// File search in libraries: finds a design file of a kind by library, name
// and extension, and walks all files of a library.
#pragma once

struct qfm_id;

typedef int (*qfm_loop_fn)(const char* file, void* data);

qfm_id* qfm_find_file(const char* lib, int type, const char* name, const char* ext);
int qfm_id_file_exists(const qfm_id* id);
void qfm_free_id(qfm_id* id);
int qfm_file_loop(const char* lib, int type, const char* name, const char* ext,
                  qfm_loop_fn callback, void* data);
// "LIB:FILE" in a buffer that the next call overwrites.
char* q_merge_lib_comp(const char* lib, const char* comp);

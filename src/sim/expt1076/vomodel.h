// The model writer: the VHDL model of one examined symbol, in a fixed
// order of context clauses, entity and empty architecture. The keywords
// come from the message file's statement templates.
#pragma once

struct vogroup;
struct vohead;
struct iwatt;

int vomodel(vogroup* group);
void vhdl_header(vohead* line);
void vopackage_use(vogroup* group);
int voplace(int kind, int where);
void voEntityConstants(vogroup* group);
void voPrintEntityComments(vogroup* group);
void voPrintEntityPPR(vogroup* group);
void voGetVhdlAttr(iwatt* attributes, int kind, const char* entity);
int voStringCompare(const void* a, const void* b);
int voIsImportKind(const char* text);

/* The floor of a whole-library run: the file operations that no
 * translation can avoid. For each file of a library's symbol directory it
 * reads the file and writes one of the same size into the library's behv
 * directory, with the extension vhd. With -a each file is written as
 * entgen writes a model, whole or not at all: beside its name, its mode
 * set, synced, then renamed into place.
 *
 *   floor [-a] library-directory
 */
#define _GNU_SOURCE
#include <dirent.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static char buf[1 << 20];

int main(int argc, char** argv) {
    int atomic = argc == 3 && strcmp(argv[1], "-a") == 0;
    if (atomic) {
        argv[1] = argv[2];
        argc = 2;
    }
    if (argc != 2) {
        fprintf(stderr, "usage: floor [-a] library-directory\n");
        return 2;
    }
    char path[4096];
    snprintf(path, sizeof path, "%s/behv", argv[1]);
    mkdir(path, 0777);
    snprintf(path, sizeof path, "%s/sym", argv[1]);
    DIR* dir = opendir(path);
    if (!dir) {
        perror(path);
        return 1;
    }
    struct dirent* e;
    while ((e = readdir(dir))) {
        if (e->d_name[0] == '.') continue;
        snprintf(path, sizeof path, "%s/sym/%s", argv[1], e->d_name);
        int in = open(path, O_RDONLY);
        if (in < 0) continue;
        ssize_t n = read(in, buf, sizeof buf);
        close(in);
        if (n < 0) continue;
        char* dot = strrchr(e->d_name, '.');
        if (dot) *dot = '\0';
        snprintf(path, sizeof path, "%s/behv/%s.vhd", argv[1], e->d_name);
        char beside[4200];
        snprintf(beside, sizeof beside, "%s.new", path);
        int out = open(atomic ? beside : path, O_WRONLY | O_CREAT | O_TRUNC, 0666);
        if (out < 0 || write(out, buf, (size_t)n) != n) {
            perror(path);
            return 1;
        }
        if (atomic && (fchmod(out, 0644) != 0 || fsync(out) != 0)) {
            perror(beside);
            return 1;
        }
        close(out);
        if (atomic && rename(beside, path) != 0) {
            perror(path);
            return 1;
        }
    }
    closedir(dir);
    return 0;
}

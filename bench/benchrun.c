/* Runs a program a number of times and tells what one run costs: the
 * median wall time, the mean processor time (user and system) and the
 * largest resident set, in this form on one line:
 *
 *   wall_ms cpu_ms maxrss_kb
 *
 *   benchrun count directory program [arguments...]
 *
 * Every run starts in `directory`, with standard input, output and error
 * on /dev/null: what a run writes costs its system calls, not a terminal's
 * drawing. A run that exits other than with 0 fails the measure. */
#define _GNU_SOURCE
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

static double now(void) {
    struct timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return t.tv_sec + t.tv_nsec / 1e9;
}

static int byValue(const void* a, const void* b) {
    double x = *(const double*)a, y = *(const double*)b;
    return (x > y) - (x < y);
}

int main(int argc, char** argv) {
    if (argc < 4) {
        fprintf(stderr, "usage: benchrun count directory program [arguments...]\n");
        return 2;
    }
    int count = atoi(argv[1]);
    if (count < 1) count = 1;
    double* wall = calloc((size_t)count, sizeof *wall);
    double cpu = 0;
    long maxrss = 0;
    for (int i = 0; i < count; ++i) {
        double start = now();
        pid_t pid = fork();
        if (pid < 0) {
            perror("benchrun: fork");
            return 1;
        }
        if (pid == 0) {
            int null = open("/dev/null", O_RDWR);
            if (null < 0 || chdir(argv[2]) != 0) _exit(126);
            dup2(null, 0), dup2(null, 1), dup2(null, 2);
            if (null > 2) close(null);
            execv(argv[3], argv + 3);
            _exit(127);
        }
        int status = 0;
        struct rusage use;
        if (wait4(pid, &status, 0, &use) != pid) {
            perror("benchrun: wait4");
            return 1;
        }
        wall[i] = now() - start;
        if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            fprintf(stderr, "benchrun: %s in %s ended with status %d\n", argv[3], argv[2],
                    WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status));
            return 1;
        }
        cpu += use.ru_utime.tv_sec + use.ru_utime.tv_usec / 1e6 + use.ru_stime.tv_sec +
               use.ru_stime.tv_usec / 1e6;
        if (use.ru_maxrss > maxrss) maxrss = use.ru_maxrss;
    }
    qsort(wall, (size_t)count, sizeof *wall, byValue);
    double median = count % 2 ? wall[count / 2] : (wall[count / 2 - 1] + wall[count / 2]) / 2;
    printf("%.4f %.4f %ld\n", median * 1e3, cpu * 1e3 / count, maxrss);
    free(wall);
    return 0;
}

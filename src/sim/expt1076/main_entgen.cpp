// The translator's entry point: the order of a run, from the banner to the
// exit status.
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdio>

#include "kspath.h"
#include "kterr.h"
#include "ktex.h"
#include "vgstruct.h"
#include "vocmdlin.h"
#include "vomain.h"
#include "voreadini.h"
#include "votr.h"

namespace {
// Reports and prompts interleave with the user's typing: a terminal gets
// each line as it is written, and so does a file or pipe that both streams
// write, where the order between them counts. A stream that goes elsewhere
// (a file of its own, /dev/null) gathers its lines and writes them when its
// buffer fills and at the end of the run.
void bufferStandardStreams() {
    struct stat out, err;
    bool haveOut = ksStdFileStatus(1, &out), haveErr = ksStdFileStatus(2, &err);
    bool shared = haveOut && haveErr && out.st_dev == err.st_dev && out.st_ino == err.st_ino &&
                  !S_ISCHR(out.st_mode);
    auto byLine = [shared](int fd, bool known, const struct stat& st) {
        if (!known || shared) return true;
        if (!S_ISCHR(st.st_mode)) return false;
#ifdef __linux__
        // The memory devices (/dev/null and its kind) are no terminals.
        if (major(st.st_rdev) == 1) return false;
#endif
        return isatty(fd) != 0;
    };
    static char outBuffer[16384], errBuffer[16384];
    if (byLine(1, haveOut, out))
        std::setbuf(stdout, nullptr);
    else
        std::setvbuf(stdout, outBuffer, _IOFBF, sizeof outBuffer);
    if (byLine(2, haveErr, err))
        std::setbuf(stderr, nullptr);
    else
        std::setvbuf(stderr, errBuffer, _IOFBF, sizeof errBuffer);
}
}  // namespace

int main(int argc, char** argv) {
    // Before any file is opened: none may become a standard stream.
    ksStdFilesOpen();
    bufferStandardStreams();
    voErrStrID = ktErrStreamCreate();
    if (!voquiet(argc, argv)) ktBanner("ENTGEN TRANSLATOR", "5.3.1");
    vo = vodatabloc();
    voopen_msgfile();
    votrsetup();
    vocmdlin(argc, argv);
    voreadini("entgen.ini");
    if (vo->cmdl->library != 1) vosinglerun();
    return volibraryrun();
}

// The translator's entry point: the order of a run, from the banner to the
// exit status.
#include <cstdio>

#include "kspath.h"
#include "kterr.h"
#include "ktex.h"
#include "vgstruct.h"
#include "vocmdlin.h"
#include "vomain.h"
#include "voreadini.h"
#include "votr.h"

int main(int argc, char** argv) {
    // Before any file is opened: none may become a standard stream.
    ksStdFilesOpen();
    // Reports and prompts interleave with the user's typing: no buffering.
    std::setbuf(stdout, nullptr);
    std::setbuf(stderr, nullptr);
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

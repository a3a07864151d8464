// The writer of an initialization file with the run's configuration and,
// as comment lines, the defaults it used and what it found in the symbols.
#pragma once

// Writes <name>.ini in the current directory, replacing any file there: the
// symbol's file base name in a one-symbol run, the library's name in a
// library run. Called once, at the end of the run, with no output open.
void vowritini();

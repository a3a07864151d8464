// Host values: the machine's node name and a number that identifies the
// machine, asked for by a command and written as text into the caller's
// buffer. The path layer's ksGethostname and ksGethostid stand on this;
// nothing here looks up a name service, so the answer comes at once even on
// a machine without a network.
#pragma once

// Commands of ksSysinfo.
enum {
    KS_SI_HOSTNAME = 1,   // the node name
    KS_SI_HW_SERIAL = 2,  // the host identifier, an unsigned decimal number
};

// Writes the value of `command` into `buf` (`count` bytes), cut to fit and
// always terminated when `count` is above 0. Returns the bytes the whole
// value needs with its terminator, so a result above `count` says it was
// cut; -1 for an unknown command or a value the system doesn't give.
long ksSysinfo(int command, char* buf, long count);

// The design database session: started once per process at the first
// symbol, ended by iwfinish, with its own tally of reported problems.
#pragma once

int iwinit();
void iwfinish();
void iwcleanup();
int iwmsgcount(int mask);

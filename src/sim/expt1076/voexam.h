// Symbol load and examination: reads the symbol of the command line into
// the design database and sorts what it holds into a vogroup.
#pragma once

struct vogroup;
struct iwgroup;

void voloadproj();
void voinitpa();
int voexampass();
vogroup* voexamgroup(iwgroup* group, vogroup* parent);
void vogroupnames(vogroup* g);

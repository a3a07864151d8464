// The port clause of an entity.
#pragma once

struct vogroup;

void voport_clause(vogroup* group, int mode);

// The generic clause of an entity.
#pragma once

struct vogroup;

void vogen_clause(vogroup* group);

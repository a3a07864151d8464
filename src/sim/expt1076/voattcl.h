// Attribute declarations and specifications of an entity's ports.
#pragma once

struct vogroup;

void voatt_decl(vogroup* group, int mask);
void voatt_spec(vogroup* group, int mask);

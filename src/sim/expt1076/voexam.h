// Symbol load and examination: reads the symbol of the command line into
// the design database and sorts what it holds into a vogroup: the names of
// entity, architecture, library and model file, the generics, constants,
// comments, passive texts, imports and pin attributes. After the pass the
// model writer needs nothing more from the symbol's attributes.
#pragma once

struct vogroup;
struct iwgroup;
struct iwatt;
struct vogen;
struct voCons;

// The attribute names the translator keeps for itself; every test on one
// of them takes its text from here. Null at the end.
enum {
    VORES_TYPE,
    VORES_CVF_OUT,
    VORES_CVF_IN,
    VORES_BRF,
    VORES_DEFAULT,
    VORES_PORT_MODE,
    VORES_CONFIGURATION,
    VORES_IMPORT,
    VORES_GEN,
    VORES_CON,
    VORES_COM,
    VORES_PPR,
    VORES_ATT,
    VORES_VECTOR,
};
extern const char* const ReservATTRIBUTE[15];

// Reads the symbol named by vocmdl.name; sets vodata.top or ends the run.
void voloadproj();
void voinitpa();
// Examines vodata.top and names the model files of the groups; returns 1.
int voexampass();
// The vogroup of `group`, examined on first sight only.
vogroup* voexamgroup(iwgroup* group, vogroup* parent);
// Enters the built-in pin types that the configuration left out.
void vodefpintypes();
// entity, arch and lib, from the VHDL attribute or the group's own name.
void vogroupnames(vogroup* g);
// The user attributes of the pins into g.alist; counts pins without a type.
void voattpins(vogroup* g);
// Sorts the symbol's attributes into generics, constants, comments,
// passive texts and imports.
void vosymattrs(vogroup* g, iwatt* list);
void voAddGeneric(vogroup* g, const char* name, iwatt* attribute);
// A generic made from a symbol attribute; entered in vodata.gens unless a
// generic of that name stands there already.
vogen* vonewgen(const char* name, const char* value);
// A constant from a VHDL_CON_ attribute; its type and value stay null when
// the value has no colon (report 804).
voCons* vonewcons(iwatt* attribute);
// 1 when the attribute makes no generic, or no user attribute.
int vogenfilter(iwatt* attribute);
int voattfilter(iwatt* attribute);
// Releases the generics that no list owns: those made for a name that
// vodata.gens already held. vodatafree calls it.
void voexamfree();

// The statements of the initialization file, one parser for each section.
// A parser is called with the keyword already read; it reads its operands,
// stores its record into the field it was given, and returns the result of
// the token behind the statement, which is the next statement's first. A
// statement takes effect whole or not at all (a BINDING keeps the maps that
// were read before one failed), and an error never ends the run.
#pragma once

#include "vgstruct.h"

int voiniheader(vohead** list);
int voinigeneric(vogen** list);
int voiniattribute(voattr** list);
int voinisigtype(vosigt** field);
// VECTOR_TYPE and 2D_VECTOR_TYPE; both report as VECTOR_TYPE.
int voinivector(vovect** field);
int voinizval(struct vozval** field);
int voiniinitialize(vosinit** list);
// Makes or reopens the component of the name and makes it `current`;
// COMPONENT NULL leaves no current component.
int voinicomponent(vocomp** list, vocomp** current);
// Only inside a component: `field` is the component's binding.
int voinibinding(vobind** field);
// `map ( formal => actual, ... )` into `list`; the token behind it is left
// for the caller.
int voinimap(voae** list);
// One `formal => actual`; `out` is null when it failed.
int voiniae(voae** out);
// Into voini.pintypes.
int voinipintype();
int voiniprefix(char** field);
int voinitranslate(votrans** words, votrans** chars);
int voiniplace(struct voplace** list);
int voinilistid(int* field);
int voinisetdef(char** gendefault, char** attdefault);
int voiniticksize(voTicksize** field);
int voinidelay(voDelay** field);

// The types, bases and high-impedance value that the file gave, or the
// built-in ones when it gave none.
const char* vosigtype();
const char* vosigbase();
const char* vo1DimVecType();
const char* vovec1Dimbase();
const char* vo2DimVecType();
const char* vovec2Dimbase();
const char* vozval();

// The words of PLACE: kind 1 "compdecl", 2 "sigdecl"; where 1
// "architecture", 2 "package"; "" for any other number.
const char* voplacetype(int kind);
const char* voplacelocation(int where);

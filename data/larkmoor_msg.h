/* Messages of the design database, compiled into larkmoor.kmb.
 *
 * Each message is a definition of its name to its number with the text as a
 * string literal in the comment. Reports begin with a severity designator:
 * [I] note, [W] warning, [E] error. A note follows the error before it and
 * says more about it; the database counts it with that error, not again.
 * The arguments of the symbol reader's line reports are the line number,
 * the symbol (group) name and the page of the drawing, which is always 1.
 *
 * This file is also the header that gives the numbers their names in code.
 */
#pragma once

#define IWM_APPLICATION -1 /* "larkmoor" */
#define IWM_LABEL -2 /* "larkmoor" */
#define IWM_VERSIONREC 0 /* "5.2.0" */

/* Memory */
#define IWM_QKTWICE 217 /* "[W] A scratch buffer was given back twice." */
#define IWM_QKNONE 251 /* "[E] A pointer given back as a scratch buffer is none of the scratch buffers." */
#define IWM_NOPOOL 400 /* "[E] Memory pool %d does not exist; the run stops." */

/* Session */
#define IWM_NOFILE 415 /* "[E] Cannot find the %s file %s in the current directory or in a directory of KDIR." */
#define IWM_NOPROJDB 417 /* "[E] The project database could not be started (status %d)." */
#define IWM_NOPRIMARY 418 /* "[E] The library list %s opens no primary library: one DIR line needs the access [p] or 0." */
#define IWM_LIBLINE 419 /* "[E] %6$s, line %5$d: DIR [%3$s] %1$s (%2$s): the library was not opened (status %4$d)." */
#define IWM_NOPROJECT 420 /* "[E] The project of the current directory could not be opened (status %d)." */
#define IWM_NOSESSION 421 /* "[E] The design database could not be opened." */
#define IWM_NOATTTABLE 422 /* "[E] There is no room for the table of object attributes." */
#define IWM_LIBNULL 433 /* "[W] A library was named without a path." */
#define IWM_LIBEMPTY 441 /* "[W] A library was named with an empty path." */
#define IWM_LIBLONG 494 /* "[W] The library path %s is %d characters long; a path must stay below %d." */
#define IWM_LIBCHARS 498 /* "[W] The library path %s holds a single quote or a line feed." */
#define IWM_LIBSKIPPED 437 /* "[W] The library is left out of the list (%s)." */
#define IWM_NOCACHE 499 /* "[E] The directories of the libraries could not be cached (status %d); the run goes on without." */
#define IWM_BADHETERO 514 /* "[E] %d is no mode for combining heterogeneous symbols: the mode is 0 or 1." */

/* Symbol reader */
#define IWM_SIGNALNOSEMI 128 /* "[E] A SIGNAL attribute of %s %s has no \";\" between its net and its pins; it is left out." */
#define IWM_BUSUNBALANCED 269 /* "[E] Bus %s: a bracket or brace is not closed, or a \"[\" stands inside a range." */
#define IWM_BUSBADCHAR 270 /* "[E] Bus %s: a range holds a character that has no place in it." */
#define IWM_BUSMALFORMED 271 /* "[E] Bus %s: a range has an empty or a fourth part or a second radix, or a group lacks its count." */
#define IWM_BUSRADIX 272 /* "[E] Bus %s: a range holds a digit outside its radix." */
#define IWM_BUSTOOLARGE 273 /* "[E] Bus %s: a part of a range has over 18 characters or a number of 32768 or more, or the bus has over 65535 members." */
#define IWM_BUSZEROSTEP 274 /* "[E] Bus %s: a range has a step of 0." */
#define IWM_BUSNULL 250 /* "[E] A bus was to be expanded with no text." */
#define IWM_BUSNOROOM 249 /* "[E] An expanded bus name is longer than 255 characters." */
#define IWM_ORDERCOUNT 293 /* "[E] The pin order list does not name the %1$d pins of symbol %2$s: the pins are not ordered." */
#define IWM_ORDERNAMES 294 /* "[I] The list names %d pins." */
#define IWM_ORDERNOPIN 295 /* "[E] No pin is named %s." */
#define IWM_ORDERSKIP 296 /* "[I] The name stands in the pin order list of symbol %1$s, page %2$d; it is skipped." */
#define IWM_LABELFIELDS 297 /* "[E] Line %1$d of symbol %2$s, page %3$d: the pin label record lacks its negation flag or its label; it is skipped." */
#define IWM_PINATTFIELDS 298 /* "[E] Line %1$d of symbol %2$s, page %3$d: the pin attribute record lacks its text; it is skipped." */
#define IWM_SYMATTFIELDS 299 /* "[E] Line %1$d of symbol %2$s, page %3$d: the symbol attribute record lacks its text; it is skipped." */
#define IWM_EMPTYPLUS 300 /* "[E] Line %1$d of symbol %2$s, page %3$d: the continuation record has nothing behind its \"+\"; it is skipped." */
#define IWM_CONTLONG 301 /* "[E] Line %1$d of symbol %2$s, page %3$d: the continued text would be longer than 16383 characters; the continuation is ignored." */
#define IWM_PINLIMIT 302 /* "[E] Line %1$d of symbol %2$s, page %3$d: a symbol holds at most 32767 pins; this pin and its records are left out." */
#define IWM_BUSLIMIT 303 /* "[E] Bus pin %1$s of symbol %2$s would take the symbol beyond 32767 pins; it is not expanded." */
#define IWM_SIGNALLONG 304 /* "[E] A SIGNAL attribute of symbol %s is longer than 255 characters; it is left out." */
#define IWM_PINFILELONG 347 /* "[E] The pin order file is longer than 16383 characters; the text read so far is used." */
#define IWM_NOTSYMBOL 380 /* "[E] %s is no symbol file: its first line is not a \"V \" line." */
#define IWM_BADVERSION 398 /* "[E] %s: the version behind the last dot must be a number from 1 to 32767." */
#define IWM_BADTYPE 399 /* "[E] Symbol type %s of %s is unknown; the type stays as it was." */

/* Attribute variables, by the preprocessor's codes 0 and 3 to 10. The
 * argument is the text the code concerns: the attribute value, the
 * variable's name or the variable file's name. */
#define IWM_VAROK 334 /* "[I] %s: no fault." */
#define IWM_VARTWICE 337 /* "[W] %s: a variable is defined twice with different values; the first definition stays." */
#define IWM_VARUNDEF 338 /* "[W] %s: a variable it refers to has no definition; the reference stays as written." */
#define IWM_VARLONG 339 /* "[E] %s: the value is too long once its variables are expanded; it is not evaluated." */
#define IWM_VARDEF 340 /* "[I] %s is the definition of a variable." */
#define IWM_VARREF 341 /* "[I] %s refers to a variable." */
#define IWM_VARRECURSIVE 342 /* "[E] %s: a variable refers to itself, directly or through others; the value is cut where the name comes again." */
#define IWM_VARNONAME 343 /* "[E] %s: a variable is defined without a name." */
#define IWM_VARNOFILE 344 /* "[W] No variable file %s.var was found in the current directory, a library or a directory of KDIR." */

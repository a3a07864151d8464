/* Messages of the VHDL entity translator, compiled into entgen.kmb.
 *
 * Each message is a definition of its name to its number with the text as a
 * string literal in the comment. Reports begin with a severity designator:
 * [S] status, [I] note, [W] warning, [E] error. The translator never uses F
 * or Z, so that a run always reaches its summary. Statement templates carry
 * no designator: they are VHDL-1987 text for the model writer.
 *
 * This file is also the header that gives the numbers their names in code.
 */
#pragma once

#define VOM_APPLICATION -1 /* "entgen" */
#define VOM_VERSIONREC 0 /* "5.3.1" */

/* Run control */
#define VOM_VERSION 500 /* "5.3.1" */
#define VOM_WROTE 511 /* "[S] Wrote %s of %s %s to %s." */
#define VOM_SUMMARY 514 /* "[S] Translation %s for %s: %d error(s), %d warning(s)." */
#define VOM_BADEXT 528 /* "[E] File %2$s of library %1$s has no version number as its extension; skipped." */
#define VOM_NOSYMBOL 541 /* "[E] Cannot read the symbol." */
#define VOM_NOMEMORY 544 /* "[E] Out of memory." */
#define VOM_NODBINIT 548 /* "[E] The design database could not be started." */
#define VOM_NOLIB 553 /* "[E] Library %s does not exist." */

/* Library list and output directory */
#define VOM_NOLIBNAMED 549 /* "[E] The library list scrivet.ini names no library: no DIR line has an alias." */
#define VOM_BADDIRLINE 550 /* "[E] Line %d of scrivet.ini is not a valid DIR line; ignored." */
#define VOM_NODIRECTORY 551 /* "[E] Library line ignored, its directory does not exist: %s" */
#define VOM_NOSCRIVET 552 /* "[E] Cannot find or read the library list scrivet.ini." */
#define VOM_READONLYLIB 554 /* "[E] Library %s is read-only: no model can be written beside its symbols." */
#define VOM_SYMNOTFOUND 555 /* "[E] Symbol %s.%s was not found in library %s." */
#define VOM_BADVERSION 632 /* "[E] The message file entgen.kmb is not of version 5.3.1 of the translator." */

/* Output file */
#define VOM_NOOUTPUT 542 /* "[E] Internal error: text written with no output file open, or a file opened while another is open." */
#define VOM_WRITEERR 543 /* "[E] Cannot write to the output file (is the disk full?)." */
#define VOM_NOOPEN 546 /* "[E] Cannot open output file %s." */
#define VOM_EXISTS 558 /* "[W] File %s already exists." */

/* Model writer templates */
#define VOM_ENTITYHEAD 515 /* "-- Entity declaration" */
#define VOM_ATTDECL 703 /* "attribute %s : %s;" */
#define VOM_CONSTDECL 803 /* "constant %s : %s := %s;" */
#define VOM_LIBRARY 860 /* "library %s;" */
#define VOM_USEALL 862 /* "use %s.all;" */
#define VOM_USE 863 /* "use %s;" */
#define VOM_ATTSPEC 871 /* "attribute %s of " */
#define VOM_ATTSPECEND 873 /* "%s;" */
#define VOM_ATTENTITY 874 /* "%s : entity is " */
#define VOM_COMMENT 892 /* "-- %s" */
#define VOM_PASSIVE 894 /* "begin" */
#define VOM_ENTITY 901 /* "entity %s is" */
#define VOM_ENTITYEND 902 /* "end %s;" */
#define VOM_ARCH 911 /* "architecture %s of %s is" */
#define VOM_ARCHBEGIN 912 /* "begin" */
#define VOM_ARCHEND 913 /* "end %s;" */

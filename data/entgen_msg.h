/* Messages of the VHDL entity translator, compiled into entgen.kmb.
 *
 * Each message is a definition of its name to its number with the text as a
 * string literal in the comment. Reports begin with a severity designator:
 * [S] status, [I] note, [W] warning, [E] error. The translator never uses F
 * or Z, so that a run always reaches its summary; the build refuses them.
 *
 * Statement templates carry no designator. The model's templates are
 * VHDL-1987 text filled by the model writer; the lines of a written
 * initialization file must read back as the statements they show.
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
#define VOM_BADVERSION 632 /* "[E] The message file entgen.kmb is not of version 5.3.1 of the translator." */

/* Library list and output directory */
#define VOM_NOLIBNAMED 549 /* "[E] The library list scrivet.ini names no library: no DIR line has an alias." */
#define VOM_BADDIRLINE 550 /* "[E] Line %d of scrivet.ini is not a valid DIR line; ignored." */
#define VOM_NODIRECTORY 551 /* "[E] Library line ignored, its directory does not exist: DIR%s" */
#define VOM_NOSCRIVET 552 /* "[E] Cannot find or read the library list scrivet.ini." */
#define VOM_READONLYLIB 554 /* "[E] The library of the symbol is read-only: no model can be written beside it (library part of the name: \"%s\")." */
#define VOM_SYMNOTFOUND 555 /* "[E] Symbol %s.%s was not found in the library list (library part of the name: \"%s\")." */

/* Output file */
#define VOM_NOOUTPUT 542 /* "[E] Internal error: text written with no output file open, or a file opened while another is open." */
#define VOM_WRITEERR 543 /* "[E] Cannot write to the output file (is the disk full?)." */
#define VOM_NOOPEN 546 /* "[E] Cannot open output file %s." */
#define VOM_EXISTS 558 /* "[W] File %s already exists." */

/* Initialization file: reading */
#define VOM_INI_NOTFOUND 601 /* "[W] Initialization file %s not found or not readable; the built-in defaults are used." */
#define VOM_INI_EMPTY 602 /* "[W] Initialization file %s holds no statement; the built-in defaults are used." */
#define VOM_INI_NOKEYWORD 603 /* "[E] The initialization file must begin with its version line: the keyword %s and a version number." */
#define VOM_INI_INCOMPONENT 604 /* "[E] %s, line %d: %s cannot stand inside a COMPONENT block (end the block with COMPONENT NULL); statement skipped." */
#define VOM_INI_UNKNOWN 605 /* "[E] %s, line %d: %s is no keyword known here; statement skipped." */
#define VOM_INI_NOCOMPONENT 606 /* "[E] %s, line %d: %s stands only inside a COMPONENT block; statement skipped." */
#define VOM_INI_BADVERSION 607 /* "[E] %s, line %d: the version is no number, or is newer than 5.3, the version of this translator." */
#define VOM_INI_NOVERSION 608 /* "[E] %s, line %d: the version line has no version number." */
#define VOM_INI_EXTRA 609 /* "[W] %s, line %d: text behind the %s statement is ignored." */

/* Initialization file: statements */
#define VOM_INI_MISSING 610 /* "[E] %s, line %d: %s lacks an operand." */
#define VOM_INI_NONAME 611 /* "[E] %s, line %d: %s has no name." */
#define VOM_INI_NOTGENERIC 612 /* "[E] %s, line %d: %s wants the word generic or NULL behind the name." */
#define VOM_INI_NOGENNAME 613 /* "[E] %s, line %d: %s has no VHDL name." */
#define VOM_INI_NOTYPE 614 /* "[E] %s, line %d: %s has no type." */
#define VOM_INI_NOTATTRIBUTE 615 /* "[E] %s, line %d: %s wants the word attribute or NULL behind the name." */
#define VOM_INI_NOATTNAME 616 /* "[E] %s, line %d: %s has no VHDL name." */
#define VOM_INI_TWICE 617 /* "[W] %s, line %d: %s was given before; the first one stands." */
#define VOM_INI_NOVALUE 618 /* "[E] %s, line %d: %s has no value." */
#define VOM_INI_NOFORMAL 619 /* "[E] %s, line %d: an association of the map has no formal." */
#define VOM_INI_BADARROW 620 /* "[E] %s, line %d: an association of the map wants => and an actual." */
#define VOM_INI_NOARROW 621 /* "[E] %s, line %d: an association of the map ends before its =>." */
#define VOM_INI_BADMAP 622 /* "[E] %s, line %d: a map must read map ( formal => actual, ... )." */
#define VOM_INI_NOENTITY 623 /* "[E] %s, line %d: %s wants the word entity." */
#define VOM_INI_BADBINDING 624 /* "[E] %s, line %d: BINDING wants library.entity(architecture)." */
#define VOM_INI_NOSECOND 625 /* "[E] %s, line %d: %s lacks its second operand." */
#define VOM_INI_NOMODE 626 /* "[E] %s, line %d: %s has no mode." */
#define VOM_INI_BADMODE 627 /* "[E] %s, line %d: %s names an unknown mode; the modes are IN, OUT, INOUT, BUFFER, LINKAGE, ENA, TRI, IO, OEM, OCT and IXO." */
#define VOM_INI_BADWORD 628 /* "[E] %s, line %d: %s holds a word it does not know." */
#define VOM_INI_BADPLACE 629 /* "[E] %s, line %d: %s names an unknown place; the places are architecture and package." */
#define VOM_INI_BADKIND 630 /* "[E] %s, line %d: %s wants generic or attribute." */
#define VOM_INI_KINDTWICE 631 /* "[E] %s, line %d: %s was given before for this kind; the first one stands." */

/* Initialization file: writing. 701 and 709 end in a blank, since more
 * text may follow on the line; 702, 703 and 704 are the operands that the
 * reader wants behind the name or keyword. No heading above a section
 * begins with a keyword: with all its comment marks removed, a file holds
 * no heading that reads as a statement. */
#define VOM_WI_PAIR 701 /* "%s %s " */
#define VOM_WI_GENERIC 702 /* "generic (%s : %s);" */
#define VOM_WI_BINDING 704 /* "entity %s.%s(%s)" */
#define VOM_WI_GENMAP 705 /* "generic map (" */
#define VOM_WI_PORTMAP 706 /* "port map (" */
#define VOM_WI_ASSOC 707 /* "%s => %s" */
#define VOM_WI_TRIPLE 709 /* "%s %s %s " */
#define VOM_WI_HPINTYPE 710 /* "Pin types: PIN_TYPE name mode gives the pins of that type their port mode." */
#define VOM_WI_HINIT 711 /* "Initial values: INITIALIZE signal value gives a global signal its initial value." */
#define VOM_WI_HGENERIC 712 /* "Generics: GENERIC attribute generic (name : type); or NULL to drop it. The default is the symbol's value." */
#define VOM_WI_HHEADER1 718 /* "Header lines: HEADER text puts a line at the top of every model, in this order." */
#define VOM_WI_HHEADER2 719 /* "The text stands as it is: a VHDL comment or a context clause." */
#define VOM_WI_HLISTID1 721 /* "Identifier list: LIST_IDENTIFIERS translated or all lists, in a library run, the" */
#define VOM_WI_HLISTID2 722 /* "names that translation changed, or all names, in a file of extension xrf." */
#define VOM_WI_HPREFIX 723 /* "Prefix: PREFIX text goes in front of a name that is no VHDL identifier." */
#define VOM_WI_HTYPES 724 /* "Port types: SIGNAL_TYPE, VECTOR_TYPE and 2D_VECTOR_TYPE type base." */
#define VOM_WI_HPLACE1 725 /* "Places: PLACE compdecl or sigdecl, architecture or package [file] says where" */
#define VOM_WI_HPLACE2 726 /* "component and signal declarations go." */
#define VOM_WI_HSETDEF 727 /* "Default types: SETDEF generic or attribute type, for those a symbol gives without a type." */
#define VOM_WI_HDELAY 728 /* "Delays: DELAY min, typ or max picks one value of a min:typ:max time." */
#define VOM_WI_HTICKSIZE 729 /* "Tick size: TICKSIZE number unit is the time of one tick, for a time with no unit." */

/* Name translation */
#define VOM_BADNAME 523 /* "[W] %s is no legal VHDL identifier; it is used as it stands." */
#define VOM_RESERVED 532 /* "[W] The translation %s of %s is a reserved word of VHDL." */
#define VOM_CASECLASH 533 /* "[W] The names %s and %s differ only in case; VHDL reads both as the one identifier %s." */
#define VOM_NAMETOOLONG 547 /* "[E] A translated name, or a value with the names it refers to translated, would be longer than 2047 characters." */
#define VOM_PREFIXED 557 /* "[W] %s is no VHDL identifier; it becomes %s." */

/* Symbol examination and ports */
#define VOM_NOPINTYPE 527 /* "[W] Pin type %s is declared neither by PIN_TYPE nor among the built-in types." */
#define VOM_NOCONSTTYPE 804 /* "[E] Constant %s has no type: its value holds no colon; it is left out." */
#define VOM_OVERLAP 1001 /* "[E] Two pins of the same base name overlap, or one of them has no range; both ports are kept." */

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

/* Generic clause. 847 is both the report and, behind "--WARNING: ", the
 * comment in the model. */
#define VOM_GENERIC 801 /* "%s : %s" */
#define VOM_GENERICS 802 /* "generic (" */
#define VOM_DEFAULT 823 /* " := %s" */
#define VOM_DUPGENERIC 847 /* "[W] Generic %s stands more than once on the symbol; the repeats have the prefix in front." */

/* Port clause */
#define VOM_PORT 821 /* "%s : %s %s%s" */
#define VOM_PORTS 822 /* "port (" */
#define VOM_PORTBRF 825 /* "%s : %s %s %s%s" */

/* Attribute declarations and specifications */
#define VOM_PINATTDECL 861 /* "attribute %s : %s;" */
#define VOM_ATTPORT 872 /* "%s : signal is " */

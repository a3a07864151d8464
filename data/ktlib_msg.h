/* Messages of the foundation library, compiled into ktlib.kmb.
 *
 * Each message is a definition of its name to its number with the text as a
 * string literal in the comment. Reports begin with a severity designator:
 * [S] status, [I] note, [W] warning, [E] error, [F] fatal, [Z] internal.
 *
 * This file is also the header that gives the numbers their names in code.
 */
#pragma once

#define KTM_APPLICATION -1 /* "ktlib" */
#define KTM_LABEL -2 /* "5.0" */
#define KTM_VERSIONREC 0 /* "5.3.2" */

/* Message files */

/* Error reporting */

/* Memory */
#define KTM_BADBLOCKSIZE 1201 /* "[W] KT_BLOCKSIZE=%s is not a multiple of 8 of at least 160; the free lists use chunks of %d bytes" */

/* Strings */

/* Symbol tables */

/* Exceptions and exit */
#define KTM_EXCATCHSIGNALS 1154 /* "Catch floating point exceptions, bus errors and segmentation violations, and report them as errors." */

/* Formatted output */
#define KTM_FMT_BADFORMAT 1600 /* "[E] Invalid format string '%s'." */

/* Lists */

/* Regular expressions */

/* Preferences and typed values */
#define KTM_PREFUNKNOWN 1500 /* "[E] There is no option %s." */
#define KTM_PREFDOUBLE 1502 /* "[E] Group %s already has an option named %s." */

/* Buffered binary files */
#define KTM_DUFS_BADVERSION 1300 /* "[E] Format version %d of file %s is unknown." */
#define KTM_DUFS_BADMACHINE 1301 /* "[E] File %s has an invalid machine description." */
#define KTM_DUFS_BADFLOAT 1302 /* "[E] The floating-point formats of file %s can't be read on this machine." */
#define KTM_DUFS_BADTYPE 1303 /* "[E] Value type %d is unknown; types are 0 to 7." */
#define KTM_DUFS_BADMODE 1306 /* "[E] File %s can't be opened in mode \"%s\"; the modes are \"r\", \"w\" and \"w+\"." */
#define KTM_DUFS_BADHANDLE 1310 /* "[E] The file handle is invalid." */
#define KTM_DUFS_NULLARG 1311 /* "[E] A required argument is null." */
#define KTM_DUFS_NOFIT 1320 /* "[E] A value in file %s is %d bytes wide and doesn't fit in %d bytes." */
#define KTM_DUFS_LONGSTRING 1321 /* "[E] A string for file %s has %d characters; at most 255 fit." */

/* Paths and search lists */

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

/* Paths and search lists */

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

/* Formatted output */

/* Lists */

/* Regular expressions */

/* Preferences and typed values */

/* Buffered binary files */

/* Paths and search lists */

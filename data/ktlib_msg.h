/* Messages of the foundation library, compiled into ktlib.kmb.
 *
 * Each message is a definition of its name to its number with the text as a
 * string literal in the comment. Reports begin with a severity designator:
 * [S] status, [I] note, [W] warning, [E] error, [F] fatal, [Z] internal.
 * Descriptions of options carry none.
 *
 * This file is also the header that gives the numbers their names in code.
 */
#pragma once

#define KTM_APPLICATION -1 /* "ktlib" */
#define KTM_LABEL -2 /* "5.0" */
#define KTM_VERSIONREC 0 /* "5.3.2" */

/* Message files */
#define KTM_MSG_NONAME 1001 /* "[E] A message file was asked for with no name (extension %s)." */
#define KTM_MSG_BADNAME 1002 /* "[E] No file name can be made of the name %s and the extension %s." */
#define KTM_MSG_NOTFOUND 1003 /* "[E] Message file %s is in neither the current directory nor a directory of KDIR." */
#define KTM_MSG_NOOPEN 1004 /* "[E] Message file %s can't be opened." */
#define KTM_MSG_BADFILE 1005 /* "[E] %s is no message file, or the head of its index is damaged." */
#define KTM_MSG_NOINDEX 1006 /* "[E] The index of message file %s can't be read." */
#define KTM_MSG_BADVERSION 1007 /* "[E] Message file %s is not of the application, label or version this program needs." */
#define KTM_MSG_BADHANDLE 1020 /* "[E] The message file handle is not that of an open message file." */
#define KTM_MSG_NOMESSAGE 1021 /* "[E] There is no message %d in message file %s." */
#define KTM_MSG_NOSEEK 1022 /* "[E] Message %d of message file %s can't be reached: the seek failed." */
#define KTM_MSG_NOREAD 1023 /* "[E] Message %d of message file %s can't be read." */

/* Error reporting */
#define KTM_ERR_NOLEFT 1101 /* "[E] Message %d of message file %s does not begin with a severity designator such as [E]; its text follows." */
#define KTM_ERR_NORIGHT 1104 /* "[E] The severity designator of message %d of message file %s has no right bracket; its text follows." */
#define KTM_ERR_NOLETTER 1106 /* "[E] The severity designator of message %d of message file %s has no letter between its brackets; its text follows." */
#define KTM_ERR_NOTEXT 1107 /* "[E] Message %d of message file %s has nothing behind its severity designator; its text follows." */
#define KTM_ERRLOG 1120 /* "[W] The error log file can't be used: %s" */
#define KTM_ERR_HELPSTATUS 1144 /* "What to do with a Status report: statusLine, alertBox or disabled." */
#define KTM_ERR_HELPNOTE 1145 /* "What to do with a Note: statusLine, alertBox or disabled." */
#define KTM_ERR_HELPWARNING 1146 /* "What to do with a Warning: statusLine, alertBox or disabled." */
#define KTM_ERR_HELPERROR 1147 /* "What to do with an Error: statusLine, alertBox or disabled." */
#define KTM_ERR_HELPSTDERR 1148 /* "Style of the reports on the error file: terse or verbose." */
#define KTM_ERR_HELPSTATUSLINE 1149 /* "Style of the reports in a status line: terse or verbose." */
#define KTM_ERR_HELPALERTBOX 1150 /* "Style of the reports in an alert box: terse or verbose." */
#define KTM_ERR_HELPSTDOUT 1151 /* "Print reports on the standard output instead of the standard error." */
#define KTM_ERR_HELPLOGGING 1152 /* "Append every report above Status to the error log file." */
#define KTM_ERR_HELPKEEP 1153 /* "How many error log files of earlier runs to keep; 0 names the log after the program alone and replaces the earlier one." */

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
#define KTM_TYPE_NOTINT 1400 /* "[E] %s is not a whole number." */
#define KTM_TYPE_INTRANGE 1401 /* "[E] %s is out of range: the value must lie between %s and %s." */
#define KTM_TYPE_NOTFLOAT 1402 /* "[E] %s is not a floating point number." */
#define KTM_TYPE_FLOATRANGE 1403 /* "[E] %s is out of range: the value must lie between %s and %s." */
#define KTM_TYPE_NOTWORD 1404 /* "[E] %s is none of the words %s." */
#define KTM_TYPE_AMBIGUOUS 1405 /* "[E] %s is short for more than one word." */
#define KTM_TYPE_REFUSED 1408 /* "[E] Type %s does not accept the value `%s'." */
#define KTM_TYPE_BADPATH 1410 /* "[E] %s is no valid path." */
#define KTM_TYPE_NOREAD 1411 /* "[E] %s is no file that can be read." */
#define KTM_TYPE_NOWRITE 1412 /* "[E] %s is no file that can be written." */
#define KTM_TYPE_NOREADWRITE 1413 /* "[E] %s is no file that can be both read and written." */
#define KTM_TYPE_NODIR 1414 /* "[E] %s is no directory." */
#define KTM_TYPE_NODIRWRITE 1415 /* "[E] %s is no directory that can be written in." */
#define KTM_TYPE_INT64RANGE 1420 /* "[E] %s is out of range: the value must lie between %s and %s." */
#define KTM_PREFUNKNOWN 1500 /* "[E] There is no option %s." */
#define KTM_PREF_BADENTRY 1501 /* "[E] This entry of the initialization file is bad." */
#define KTM_PREFDOUBLE 1502 /* "[E] Group %s already has an option named %s." */
#define KTM_PREF_NOQUOTE 1503 /* "[E] A quoted value lacks its closing quote." */
#define KTM_PREF_AFTERQUOTE 1504 /* "[E] Only blanks or a comment may follow a quoted value." */

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

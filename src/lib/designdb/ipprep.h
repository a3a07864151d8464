// The attribute expression preprocessor: variables in attribute values. A
// variable's name begins with "@"; a value that names one is a reference to
// be replaced by the variable's value before the value is evaluated. The
// translator reads values as plain text and only asks whether a value
// refers to a variable at all.
#pragma once

// Status codes of the preprocessor.
enum {
    IP_OK = 0,
    IP_VARREF = 7,  // the text holds a variable reference
};

// IP_VARREF when `text` holds a variable reference: an "@" outside double
// quotes that is the first byte or does not follow a letter, digit, "@" or
// "_". Otherwise (a null text too) IP_OK.
int ipvarref(const char* text);

// A look at a message catalogue before the C library has it: gettext waits for ever at a pipe, and follows
// the places that a damaged catalogue names wherever they lead.
#pragma once

// 1 when the path leads to a regular file in the format of GNU MO files (gettext's manual), of this machine's
// byte order and of minor revision 0, whose texts all lie within it; else 0. Any thread.
int IsSoundCatalogue(const char* szPath);

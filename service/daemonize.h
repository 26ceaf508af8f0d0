// Detaching from the terminal.
#pragma once

// Goes on in a detached child: own session, root directory, umask 0, descriptors 0 to 2 closed and not
// reopened. Returns 0 in the child, 1 when a step fails; the parent exits with 0 and never returns.
// Before any thread exists.
int DaemonizeProcess();

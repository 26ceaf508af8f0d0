// Marks what the daemon or a module offers by plain name in its dynamic symbol table. Everything else is
// compiled hidden; for the daemon, service/exports.map lists the same names once more for the linker.
#pragma once

#define WEBSEC_API __attribute__((visibility("default")))

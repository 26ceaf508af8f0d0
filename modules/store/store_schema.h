// The tables of the store.
#pragma once

#include "modules/store/store.h"

// Makes the tables with the settings of a new installation in an empty database; does nothing when another
// process has done so meanwhile. STORE_CORRUPT when something else is in the file.
int CreateSchema(tagStore* pStore);

// Brings a database of an older version to the present one; nothing that stands in it is changed.
int UpgradeSchema(tagStore* pStore);

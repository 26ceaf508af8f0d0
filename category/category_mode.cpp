#include "category/category_mode.h"

#include "common/product_paths.h"
#include "common/profile.h"

uint8_t g_bUseCatServer = CATENGINE_LIBRARY;

uint8_t ReadCategoryMode() {
    unsigned int nError = 0;
    const int nMode =
        GetPrivateProfileInt("ServiceConfigurations", "catEngine", 0, SERVICE_CONFIG_FILE, &nError);
    return nError == 0 ? static_cast<uint8_t>(nMode) : uint8_t{CATENGINE_LIBRARY};
}

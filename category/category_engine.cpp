#include "category/category_engine.h"

#include "category/category_status.h"
#include "common/product_paths.h"

uint8_t g_bCTFunctionalityMode = 0;
tagWebCatMapping g_WebCatMapping = {0, nullptr};

int StartCategoryEngine() {
    return StartCategoryEngineFrom(CATEGORY_STATUS_FILE);
}

int StartCategoryEngineFrom(const char* szStatusFile) {
    uint8_t nStatus = CATEGORY_STATUS_ON;
    (void)ReadCategoryStatusFrom(szStatusFile, &nStatus);
    if (nStatus == CATEGORY_STATUS_ON && g_bCTFunctionalityMode != 1) {
        if (WCInit() == 0) g_bCTFunctionalityMode = 1;
    } else if (nStatus == CATEGORY_STATUS_OFF && g_bCTFunctionalityMode == 1) {
        StopCategoryEngine();
    }
    return 0;
}

void StopCategoryEngine() {
    (void)WCDeinit();
    g_bCTFunctionalityMode = 0;
}

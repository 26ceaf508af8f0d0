#include "category/category_engine.h"

uint8_t g_bUseCatServer = CATENGINE_LIBRARY;
uint8_t g_bCTFunctionalityMode = 0;
tagWebCatMapping g_WebCatMapping = {0, nullptr};

int StartCategoryEngine() {
    return 0;
}

void StopCategoryEngine() {
    g_bCTFunctionalityMode = 0;
}

void RefreshCategoryCache() {}

#include "category/category_lookup.h"

int LookupURLCategories(tagWebRequest* pRequest) {
    return pRequest ? -1 : 2;
}

#include "common/text_convert.h"

#include "common/text_family.h"

char16_t* CopySZToWSZ(char16_t* dst, const char* src) {
    return detail::CopyUnits(dst, src);
}

char16_t* CatSZToWSZ(char16_t* dst, const char* src) {
    return detail::AppendUnits(dst, src);
}

char* CopyWSZToSZ(char* dst, const char16_t* src) {
    return detail::CopyUnits(dst, src);
}

char* CatWSZToSZ(char* dst, const char16_t* src) {
    return detail::AppendUnits(dst, src);
}

#include "catserver/category_request.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>

#include "category/category_table.h"

bool ParseCategoryRequest(std::span<const uint8_t> request, std::string_view* pURL) {
    if (request.size() != sizeof(CategoryRequest)) return false;
    uint32_t words[std::size(CATSERVER_WORDS)];
    std::memcpy(words, request.data(), sizeof words);
    if (!std::ranges::equal(words, CATSERVER_WORDS)) return false;
    const auto field = request.subspan(offsetof(CategoryRequest, szURL));
    const auto end = std::ranges::find(field, uint8_t{0});
    if (end == field.end()) return false;
    *pURL = {reinterpret_cast<const char*>(field.data()), static_cast<size_t>(end - field.begin())};
    return true;
}

size_t MakeCategoryReply(std::span<const uint16_t> realIds, std::span<uint8_t, CATEGORY_REPLY_MAX> reply) {
    constexpr uint16_t UNKNOWN[] = {CATEGORY_UNKNOWN};
    if (realIds.empty()) realIds = UNKNOWN;
    char* const pText = reinterpret_cast<char*>(reply.data()) + sizeof(CategoryReply);
    char* const pEnd = reinterpret_cast<char*>(reply.data()) + reply.size();
    char* pNext = pText;
    for (const uint16_t nId : realIds.first(std::min<size_t>(realIds.size(), 5))) {
        if (pNext != pText) *pNext++ = ',';
        pNext = std::to_chars(pNext, pEnd, nId).ptr;
    }
    const size_t nText = static_cast<size_t>(pNext - pText);
    const CategoryReply head = {CATSERVER_STATUS_OK, nText};
    std::memcpy(reply.data(), &head, sizeof head);
    return sizeof head + nText;
}

// The bytes of a request and of its reply, as category_server_protocol.h lays them out. Works on its
// arguments only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "category/category_server_protocol.h"

// Takes the URL out of a request; it lies in the bytes. False, and *pURL as before, unless these are exactly
// one request: its length, its three words, and a URL that ends within its field.
bool ParseCategoryRequest(std::span<const uint8_t> request, std::string_view* pURL);

// Longest reply: five categories of at most five digits, with a comma behind each.
constexpr size_t CATEGORY_REPLY_MAX = sizeof(CategoryReply) + 5 * 6;

// Writes the reply for a site with these real ids, of which the first five count; "0" for a site with none.
// Returns its length.
size_t MakeCategoryReply(std::span<const uint16_t> realIds, std::span<uint8_t, CATEGORY_REPLY_MAX> reply);

// What a request that is none gets: a status that is not CATSERVER_STATUS_OK, and nothing behind it.
constexpr uint32_t CATSERVER_STATUS_REFUSED = 1;

#include "ctl/output.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iostream>

tagOutputOptions g_OutputOptions;

std::string JsonText(const Json& document, int nIndent) {
    // A list entry may hold bytes that are no UTF-8; they must not end the program.
    return document.dump(nIndent, ' ', false, Json::error_handler_t::replace);
}

void PrintAnswer(const Json& document, const std::string& text) {
    if (g_OutputOptions.bJson) {
        std::cout << JsonText(document, 2) << '\n';
    } else if (!text.empty()) {
        std::cout << text << '\n';
    }
}

void PrintWarning(std::string_view text) {
    if (g_OutputOptions.bJson) {
        std::cerr << JsonText({{"warning", text}}, -1) << '\n';
    } else {
        std::cerr << "websecctl: warning: " << text << '\n';
    }
}

void PrintError(std::string_view text, std::string_view advice) {
    if (g_OutputOptions.bJson) {
        std::cerr << JsonText({{"error", text}}, -1) << '\n';
        return;
    }
    std::cerr << "websecctl: " << text << '\n';
    if (!advice.empty()) std::cerr << advice << '\n';
}

std::string Counted(uint64_t n, std::string_view noun, std::string_view plural) {
    const bool bOther = n != 1 && !plural.empty();
    return std::to_string(n) + " " + std::string(bOther ? plural : noun) + (n == 1 || bOther ? "" : "s");
}

std::string Joined(const std::vector<std::string>& parts, std::string_view separator) {
    std::string text;
    for (size_t i = 0; i < parts.size(); ++i)
        text.append(i == 0 ? "" : separator).append(parts[i]);
    return text;
}

std::string AlignColumns(const std::vector<std::vector<std::string>>& rows) {
    std::vector<size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    }
    std::string text;
    for (const auto& row : rows) {
        if (!text.empty()) text += '\n';
        size_t nPending = 0;
        for (size_t i = 0; i < row.size(); ++i) {
            if (!row[i].empty()) {
                text.append(nPending, ' ').append(row[i]);
                nPending = 0;
            }
            nPending += widths[i] - row[i].size() + 2;
        }
    }
    return text;
}

std::string Printable(std::string_view text) {
    std::string shown;
    for (const char c : text) {
        const auto byte = static_cast<uint8_t>(c);
        if (byte >= 0x20 && byte < 0x7F) {
            shown += c;
        } else {
            char szHex[5];
            std::snprintf(szHex, sizeof szHex, "\\x%02X", byte);
            shown += szHex;
        }
    }
    return shown;
}

std::string Quoted(std::string_view text) {
    constexpr size_t MAX_SHOWN = 60;
    std::string shown = Printable(text.substr(0, MAX_SHOWN));
    if (text.size() > MAX_SHOWN) shown += "...";
    return "'" + shown + "'";
}

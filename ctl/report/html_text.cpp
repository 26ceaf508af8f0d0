#include "ctl/report/html_text.h"

#include "ctl/visible_text.h"

std::string HtmlText(std::string_view text) {
    std::string escaped;
    for (const char c : VisibleText(text, true)) {
        switch (c) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            case '\'':
                escaped += "&#39;";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

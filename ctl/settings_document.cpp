#include "ctl/settings_document.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "category/category_table.h"
#include "ctl/entry_check.h"
#include "ctl/import/import_entries.h"

namespace {

using Faults = std::vector<std::string>;
using Type = Json::value_t;

struct tagMember {
    const char* szKey;
    Type type;
    bool bOptional = false;
};

Json ParseText(const std::string& text, Faults& faults);
std::vector<const Json*> Members(const Json& value, const std::string& path,
                                 const std::vector<tagMember>& members, Faults& faults);
bool IsOfType(const Json& value, Type type, const std::string& path, Faults& faults);
void ParseSwitches(const Json& value, tagSettings& settings, Faults& faults);
void ParseLists(const Json& value, tagSettings& settings, Faults& faults);
void ParseList(const Json& value, int nList, std::vector<tagEntry>& entries, Faults& faults);
void ParseCategories(const Json& value, tagSettings& settings, Faults& faults);
std::string Element(const std::string& path, size_t n);

}  // namespace

Json SettingsDocument(const tagSettings& settings) {
    Json switches = Json::object(), lists = Json::object(), categories = Json::array();
    for (int n = 0; n < SWITCH_COUNT; ++n)
        switches[SwitchName(n)] = settings.switches[static_cast<size_t>(n)];
    for (int nList = 0; nList < STORE_LIST_COUNT; ++nList) {
        Json& list = lists[StoreListName(nList)] = Json::array();
        for (const auto& entry : settings.lists[static_cast<size_t>(nList)]) {
            list.push_back({{"entry", entry.text}});
            if (nList != STORE_LIST_TRUST) list.back()["subdomains"] = entry.bSubdomains;
        }
    }
    for (const uint8_t nCategory : settings.blockedCategories)
        categories.push_back(CATEGORY_TABLE[nCategory].szName);
    return {{"version", SETTINGS_VERSION},
            {"protections", switches},
            {"lists", lists},
            {"blocked_categories", categories}};
}

tagSettings ParseSettings(const std::string& text, Faults& faults) {
    tagSettings settings{};
    const Json document = ParseText(text, faults);
    if (document.is_discarded()) return settings;
    const auto version = document.is_object() ? document.find("version") : document.end();
    if (version != document.end() && version->is_number() && *version != SETTINGS_VERSION) {
        faults.push_back("version: " + version->dump() + " is not known; this websecctl reads version " +
                         std::to_string(SETTINGS_VERSION));
        return settings;
    }
    const auto parts = Members(document, "",
                               {{"version", Type::number_unsigned},
                                {"protections", Type::object},
                                {"lists", Type::object},
                                {"blocked_categories", Type::array}},
                               faults);
    if (parts[1]) ParseSwitches(*parts[1], settings, faults);
    if (parts[2]) ParseLists(*parts[2], settings, faults);
    if (parts[3]) ParseCategories(*parts[3], settings, faults);
    return settings;
}

namespace {

// Discarded when it is no JSON. The parser keeps the last of two members of one name: it would hide half of
// what somebody wrote.
Json ParseText(const std::string& text, Faults& faults) {
    std::vector<std::set<std::string>> open;
    const auto look = [&](int, Json::parse_event_t event, const Json& parsed) {
        if (event == Json::parse_event_t::object_start) open.emplace_back();
        if (event == Json::parse_event_t::object_end) open.pop_back();
        if (event == Json::parse_event_t::key && !open.back().insert(parsed.get<std::string>()).second) {
            faults.push_back(Quoted(parsed.get<std::string>()) + " stands twice in one object");
        }
        return true;
    };
    try {
        return Json::parse(text, look);
    } catch (const Json::parse_error& error) {
        const std::string_view what = error.what();
        faults.push_back("it is no JSON: " + Printable(what.substr(what.find("] ") + 2)));
        return Json(Type::discarded);
    }
}

// The members in that order; null for those that are missing or of another type.
std::vector<const Json*> Members(const Json& value, const std::string& path,
                                 const std::vector<tagMember>& members, Faults& faults) {
    std::vector<const Json*> found(members.size());
    if (!IsOfType(value, Type::object, path.empty() ? "the document" : path, faults)) return found;
    const std::string prefix = path.empty() ? "" : path + ".";
    for (size_t n = 0; n < members.size(); ++n) {
        const auto member = value.find(members[n].szKey);
        const std::string place = prefix + members[n].szKey;
        if (member == value.end()) {
            if (!members[n].bOptional) faults.push_back(place + ": is missing");
        } else if (IsOfType(*member, members[n].type, place, faults)) {
            found[n] = &*member;
        }
    }
    for (const auto& item : value.items()) {
        const std::string& key = item.key();
        const auto isKey = [&key](const tagMember& member) { return key == member.szKey; };
        if (std::none_of(members.begin(), members.end(), isKey)) {
            faults.push_back(prefix + Printable(key.substr(0, 60)) + ": is not known");
        }
    }
    return found;
}

bool IsOfType(const Json& value, Type type, const std::string& path, Faults& faults) {
    if (value.type() == type) return true;
    const char* szWanted = type == Type::boolean           ? "true or false"
                           : type == Type::number_unsigned ? "a number"
                           : type == Type::string          ? "a text"
                           : type == Type::array           ? "an array"
                                                           : "an object";
    faults.push_back(path + ": is not " + szWanted);
    return false;
}

void ParseSwitches(const Json& value, tagSettings& settings, Faults& faults) {
    std::vector<tagMember> members;
    for (int n = 0; n < SWITCH_COUNT; ++n)
        members.push_back({SwitchName(n), Type::boolean});
    const auto found = Members(value, "protections", members, faults);
    for (size_t n = 0; n < found.size(); ++n)
        settings.switches[n] = found[n] && found[n]->get<bool>();
}

void ParseLists(const Json& value, tagSettings& settings, Faults& faults) {
    std::vector<tagMember> members;
    for (int nList = 0; nList < STORE_LIST_COUNT; ++nList)
        members.push_back({StoreListName(nList), Type::array});
    const auto found = Members(value, "lists", members, faults);
    for (size_t n = 0; n < found.size(); ++n) {
        if (found[n]) ParseList(*found[n], static_cast<int>(n), settings.lists[n], faults);
    }
}

void ParseList(const Json& value, int nList, std::vector<tagEntry>& entries, Faults& faults) {
    std::vector<tagMember> members = {{"entry", Type::string}};
    if (nList != STORE_LIST_TRUST) members.push_back({"subdomains", Type::boolean, true});
    std::set<std::string> texts;
    if (value.size() > POLICY_IMPORT_MAX) {
        faults.push_back("lists." + std::string(StoreListName(nList)) + ": holds " +
                         Counted(value.size(), "entry", "entries") + ", and " +
                         std::to_string(POLICY_IMPORT_MAX) +
                         " at most can be imported: they are resolved name by name");
    }
    for (size_t n = 0; n < value.size(); ++n) {
        const std::string place = Element("lists." + std::string(StoreListName(nList)), n);
        const auto found = Members(value[n], place, members, faults);
        if (!found[0]) continue;
        const bool bSubdomains = found.size() > 1 && found[1] && found[1]->get<bool>();
        const tagEntry entry{WithSchemeInSmallLetters(found[0]->get<std::string>()), bSubdomains};
        const std::string why = WhyBadEntry(nList, entry);
        if (!why.empty()) faults.push_back(place + ".entry: " + why);
        if (!texts.insert(entry.text).second) {
            faults.push_back(place + ".entry: " + Quoted(entry.text) + " stands twice in the list");
        }
        entries.push_back(entry);
    }
}

void ParseCategories(const Json& value, tagSettings& settings, Faults& faults) {
    std::vector<uint8_t>& blocked = settings.blockedCategories;
    for (size_t n = 0; n < value.size(); ++n) {
        const std::string place = Element("blocked_categories", n);
        if (!IsOfType(value[n], Type::string, place, faults)) continue;
        const auto name = value[n].get<std::string>();
        const auto isIt = [&name](const tagCategory& category) { return category.szName == name; };
        const auto* pCategory = std::find_if(std::begin(CATEGORY_TABLE), std::end(CATEGORY_TABLE), isIt);
        if (pCategory == std::end(CATEGORY_TABLE)) {
            faults.push_back(place + ": " + Quoted(name) + " is no category");
        } else if (std::count(blocked.begin(), blocked.end(), pCategory->nId) != 0) {
            faults.push_back(place + ": " + Quoted(name) + " stands twice");
        } else {
            blocked.push_back(pCategory->nId);
        }
    }
    if (blocked.size() > BLOCKED_CATEGORIES_MAX) {
        faults.push_back("blocked_categories: websec holds " + std::to_string(BLOCKED_CATEGORIES_MAX) +
                         " at most");
    }
}

std::string Element(const std::string& path, size_t n) {
    return path + "[" + std::to_string(n) + "]";
}

}  // namespace

#include "ctl/category_argument.h"

#include "category/category_table.h"
#include "ctl/category_suggestions.h"
#include "ctl/output.h"

uint8_t CategoryArgument(const std::string& name) {
    const uint8_t nCategory = FindCategory(name);
    if (nCategory != NO_CATEGORY) return nCategory;
    std::string near;
    for (const auto& suggestion : SuggestCategories(name))
        near += (near.empty() ? "; did you mean " : ", or ") + Quoted(suggestion);
    throw CtlError("refused: " + Quoted(name) + " is no category" +
                   (near.empty() ? "; see websecctl category list" : near + "?"));
}

// Collections of categories: a folder for each, named like the category, with a file "domains" of names and a
// file "urls". Some more files stand in them that are no lists.
#pragma once

#include <string>
#include <string_view>
#include <vector>

class ImportTally;

// The last part of a path, without slashes at its end.
std::string BaseName(std::string_view path);

// Whether the path names one of a category folder's lists.
bool IsCategoryFile(std::string_view path);

// The name of the folder in which the file stands, from the path as it was given; empty when it tells none.
std::string FolderOf(std::string_view path);

// The lists in a folder: of itself, when it is a category's, else of those in it. In the order of their
// names. What is no list is left out and told to the tally. Throws CtlError when there are none.
std::vector<std::string> ListCategoryFiles(const std::string& folder, ImportTally& tally);

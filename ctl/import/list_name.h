// The names under which imports are kept, and the files on the command line.
#pragma once

#include <string>
#include <vector>

// The name as given; when it is empty, after the first file: without folders and endings, for a file of a
// category folder that folder's. Throws CtlError for a text that can be no name.
std::string ListNameArgument(const std::string& given, const std::string& firstFile);

// Throws CtlError that names the first file that is not there or may not be read.
void RefuseUnreadable(const std::vector<std::string>& files);

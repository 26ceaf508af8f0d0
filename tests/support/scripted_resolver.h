// Takes the place of the system's resolver in a test program that links it: answers depend on the script
// alone, not on the network.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace scripted_resolver {

// A name without a script is not known (EAI_NONAME).
void Answer(const std::string& name, std::vector<std::string> numericAddresses);
void Fail(const std::string& name, int nError);

// No name is answered before so many were asked for; one that waits for five seconds fails.
void AnswerTogether(size_t nNames);

// The names asked for since the last Reset, sorted: several may be asked for at once.
std::vector<std::string> Asked();

void Reset();

}  // namespace scripted_resolver

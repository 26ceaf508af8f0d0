// Trying things out where they change nothing.
#pragma once

#include <functional>

// Runs the function in a child process that is alone in a network namespace of its own, without any rule or
// queue. Answers its result (0 to 125). Throws CtlError when the system refuses such a namespace.
int RunInPrivateNetwork(const std::function<int()>& function);

// A category as the administrator names it.
#pragma once

#include <cstdint>
#include <string>

// Its real id, by its own name or a public list's. Throws CtlError that names what comes near.
uint8_t CategoryArgument(const std::string& name);

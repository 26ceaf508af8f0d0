// Names in which public suffixes end. The policy lists compare a sub-domain entry with the end of a host's
// text, so ".o.uk" covers all of "co.uk", too.
#pragma once

#include <string>
#include <string_view>

class SuffixTails {
  public:
    // Reads the list of publicsuffix.org as text, which lies beside the one of libpsl; without it no name is
    // known to be a tail.
    SuffixTails();

    // Whether a public suffix, of either section, ends in the name without a dot before it.
    bool Holds(std::string_view name) const;

  private:
    std::string m_text;
};

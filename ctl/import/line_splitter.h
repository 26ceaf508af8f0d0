// Cuts a stream of bytes into lines, however it comes in pieces, in bounded memory.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

constexpr size_t LINE_BYTES_MAX = 8192;

class LineSplitter {
  public:
    // Calls each(line, bCut) for every line that ends in these bytes: without its LF, cut to LINE_BYTES_MAX.
    template <class Each>
    void Feed(std::string_view bytes, Each each) {
        while (!bytes.empty()) {
            const size_t nEnd = bytes.find('\n');
            const std::string_view part = bytes.substr(0, nEnd);
            if (nEnd != bytes.npos && m_begun.empty()) {
                each(part.substr(0, LINE_BYTES_MAX), part.size() > LINE_BYTES_MAX);
            } else {
                const size_t nRoom = LINE_BYTES_MAX - m_begun.size();
                m_bCut |= part.size() > nRoom;
                m_begun.append(part.substr(0, nRoom));
                if (nEnd != bytes.npos) Finish(each);
            }
            bytes.remove_prefix(std::min(bytes.size(), part.size() + 1));
        }
    }
    // The last line, when no LF stands behind it.
    template <class Each>
    void Finish(Each each) {
        if (!m_begun.empty()) each(std::string_view(m_begun), m_bCut);
        m_begun.clear();
        m_bCut = false;
    }

  private:
    std::string m_begun;
    bool m_bCut = false;
};

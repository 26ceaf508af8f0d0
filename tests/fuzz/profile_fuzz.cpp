// A profile file of any bytes is read and rewritten. The input's first line names section, key and value,
// with "|" between them; what follows is the file. Nothing may go out of bounds, and a plain value that was
// written is read back.
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "common/ascii.h"
#include "common/profile.h"
#include "common/profile_line.h"

namespace {

class Scratch {
  public:
    Scratch() {
        char szFolder[] = "/dev/shm/profile_fuzz_XXXXXX";
        if (!mkdtemp(szFolder)) abort();
        m_folder = szFolder;
    }
    ~Scratch() {
        unlink(File().c_str());
        rmdir(m_folder.c_str());
    }
    std::string File() const { return m_folder + "/cfg"; }

  private:
    std::string m_folder;
};

void PutFile(const std::string& path, std::string_view bytes) {
    FILE* pFile = fopen(path.c_str(), "we");
    if (!pFile || fwrite(bytes.data(), 1, bytes.size(), pFile) != bytes.size()) abort();
    fclose(pFile);
}

std::string TakeArgument(std::string_view& line) {
    const std::string argument(line.substr(0, line.find('|')));
    line.remove_prefix(argument.size() < line.size() ? argument.size() + 1 : line.size());
    return argument.c_str();
}

// Whether what is written under these names must be found under them.
bool IsPlain(std::string_view section, std::string_view key, std::string_view value) {
    const std::string_view name = TrimBlanks(key);
    return section.size() + key.size() + value.size() < 200 && section.find(']') == std::string_view::npos &&
           !name.empty() && name.find('=') == std::string_view::npos && !IsHeaderLine(name) &&
           !IsCommentLine(name);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize) {
    static const Scratch scratch;
    const std::string path = scratch.File();
    std::string_view file(reinterpret_cast<const char*>(pData), nSize);
    std::string_view line = file.substr(0, file.find('\n'));
    file.remove_prefix(line.size() < file.size() ? line.size() + 1 : file.size());
    const std::string section = TakeArgument(line);
    const std::string key = TakeArgument(line);
    const std::string value = TakeArgument(line);

    PutFile(path, file);
    unsigned int nError = 0;
    char szOut[64];
    (void)GetPrivateProfileInt(section.c_str(), key.c_str(), 0, path.c_str(), &nError);
    (void)GetPrivateProfileString(section.c_str(), key.c_str(), "none", szOut, sizeof(szOut), path.c_str(),
                                  &nError);
    const int nWritten =
        WritePrivateProfileString(section.c_str(), key.c_str(), value.c_str(), path.c_str(), &nError);
    if ((nWritten == 0) != (!section.empty() && !key.empty() && !value.empty())) abort();
    if (nWritten == 0 && IsPlain(section, key, value)) {
        char szBack[256];
        if (GetPrivateProfileString(section.c_str(), key.c_str(), "none", szBack, sizeof(szBack),
                                    path.c_str(), &nError) != 0) {
            abort();
        }
        if (szBack != TrimBlanks(value)) abort();
    }
    return 0;
}

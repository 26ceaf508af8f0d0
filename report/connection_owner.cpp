#include "report/connection_owner.h"

#include <errno.h>
#include <pwd.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include <memory>
#include <new>
#include <span>

namespace {

constexpr char TCP_TABLE[] = "/proc/net/tcp";
constexpr size_t TABLE_LINE_BYTES = 8196;
constexpr size_t DEFAULT_PASSWORD_BYTES = 16384;

struct tagTableLine {
    unsigned long nLocalPort;
    unsigned long nRemotePort;
    int nUid;  // an uid_t, read as a signed number
};

uint32_t NameUser(uid_t nUid, char* szUser, uint32_t nSize);
size_t PasswordEntryBytes();
bool ParseTableLine(const char* szLine, tagTableLine& line);
void CopyLoginName(uid_t nUid, std::span<char> scratch, std::span<char> user);

}  // namespace

uint32_t GetConnectionOwner(char* szUser, uint32_t nSize, const tagPacketInfo* pPacket) {
    if (pPacket->bHasUid) return NameUser(pPacket->nUid, szUser, nSize);
    return FindConnectionOwner(TCP_TABLE, szUser, nSize, pPacket);
}

uint32_t FindConnectionOwner(const char* szTable, char* szUser, uint32_t nSize,
                             const tagPacketInfo* pPacket) {
    const std::unique_ptr<FILE, int (*)(FILE*)> table(fopen(szTable, "re"), fclose);
    if (!table) return 5;
    const size_t nScratch = PasswordEntryBytes();
    const std::unique_ptr<char[]> scratch(new (std::nothrow) char[nScratch]);
    if (!scratch) return 7;

    char szLine[TABLE_LINE_BYTES];
    while (fgets(szLine, sizeof szLine, table.get())) {
        tagTableLine line;
        if (!ParseTableLine(szLine, line)) continue;
        if (line.nLocalPort != pPacket->nSrcPort || line.nRemotePort != pPacket->nDstPort) continue;
        CopyLoginName(static_cast<uid_t>(line.nUid), {scratch.get(), nScratch}, {szUser, nSize});
        break;
    }
    return 0;
}

namespace {

uint32_t NameUser(uid_t nUid, char* szUser, uint32_t nSize) {
    const size_t nScratch = PasswordEntryBytes();
    const std::unique_ptr<char[]> scratch(new (std::nothrow) char[nScratch]);
    if (!scratch) return 7;
    CopyLoginName(nUid, {scratch.get(), nScratch}, {szUser, nSize});
    return 0;
}

size_t PasswordEntryBytes() {
    const long nBytes = sysconf(_SC_GETPW_R_SIZE_MAX);
    return nBytes == -1 ? DEFAULT_PASSWORD_BYTES : static_cast<size_t>(nBytes);
}

// False for a line that does not yield all three numbers, such as the heading. A number beyond its type
// becomes one that is no port. The compiler takes offence at the sizes of the columns that are passed over.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
bool ParseTableLine(const char* szLine, tagTableLine& line) {
    // NOLINTNEXTLINE(cert-err34-c)
    return sscanf(szLine, "%*u: %*x:%lx %*08lx:%lx %*x %*x:%*x %*x:%*x %*x %d %*d %*lu", &line.nLocalPort,
                  &line.nRemotePort, &line.nUid) == 3;
}
#pragma GCC diagnostic pop

void CopyLoginName(uid_t nUid, std::span<char> scratch, std::span<char> user) {
    passwd entry;
    passwd* pFound = nullptr;
    const int nError = getpwuid_r(nUid, &entry, scratch.data(), scratch.size(), &pFound);
    if (!pFound) {
        errno = nError;
        return;
    }
    if (user.empty()) return;
    const size_t nCopied = strnlen(entry.pw_name, user.size() - 1);
    memcpy(user.data(), entry.pw_name, nCopied);
    user[nCopied] = '\0';
}

}  // namespace

// The sections of status about the store: settings, the disk that it stands on, the clock that dates it.
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "ctl/report/store.h"
#include "ctl/settings_store.h"
#include "ctl/status.h"
#include "ctl/time_argument.h"

namespace {

constexpr uint64_t MIB = 1 << 20;
constexpr int64_t CLOCK_TOLERANCE = 300;  // seconds

std::filesystem::path StoreFolder();

}  // namespace

void AddSettings(tagStatus& status, tagHost&) {
    SettingsStore store(STORE_OPEN_EXISTING);
    Json switches = Json::object(), lists = Json::object();
    std::string text;
    for (int nSwitch = 0; nSwitch < SWITCH_COUNT; ++nSwitch) {
        const bool bOn = store.IsOn(nSwitch);
        switches[SwitchName(nSwitch)] = bOn;
        text += (text.empty() ? "" : ", ") + std::string(SwitchName(nSwitch)) + (bOn ? " on" : " off");
    }
    status.rows.push_back({"protections", text});
    text.clear();
    for (int nList = 0; nList < STORE_LIST_COUNT; ++nList) {
        const size_t nEntries = store.Entries(nList).size();
        lists[StoreListName(nList)] = nEntries;
        text += StoreListName(nList) + (" " + std::to_string(nEntries)) + ", ";
    }
    const size_t nCategories = store.BlockedCategories().size();
    status.rows.push_back({"entries", text + "blocked categories " + std::to_string(nCategories)});
    status.document["settings"] = {
        {"protections", switches}, {"lists", lists}, {"blocked_categories", nCategories}};
}

void AddDisk(tagStatus& status, tagHost&) {
    const std::filesystem::path folder = StoreFolder();
    struct statvfs disk {};
    if (statvfs(folder.c_str(), &disk) != 0) {
        throw CtlError("cannot look at " + Printable(folder.native()) + ": " + std::strerror(errno));
    }
    const uint64_t nFree = uint64_t{disk.f_bavail} * disk.f_frsize;
    const std::string place = "the disk of " + Printable(folder.native());
    status.rows.push_back({"disk", std::to_string(nFree / MIB) + " MiB free for " + StorePath()});
    constexpr char SPACE[] = "free some space";
    if ((disk.f_flag & ST_RDONLY) != 0) {
        status.Fail(place + " is read-only: settings cannot be changed, reports are lost",
                    "mount it for writing");
    } else if (nFree < MIB || (disk.f_files != 0 && disk.f_favail == 0)) {
        status.Fail(place + " is full: settings cannot be changed, reports are lost", SPACE);
    } else if (nFree < 64 * MIB) {
        status.Warn(place + " has only " + std::to_string(nFree / MIB) + " MiB left", SPACE);
    }
}

void AddClock(tagStatus& status, tagHost& host) {
    const int64_t nNow = std::time(nullptr);
    status.rows.push_back({"clock", LocalTimeText(nNow)});
    if (!host.switches) return;  // the section about the settings tells why there are no reports
    tagReportFilter future;
    future.nFrom = nNow + CLOCK_TOLERANCE;
    future.nLimit = 1;
    ReportStore().ForEach(future, [&](const tagReportRow& row) {
        status.Warn(
            "there are reports of the future, up to " + LocalTimeText(row.nTime) + ": the clock was set back",
            "set the clock right; new reports have wrong times until then");
        return false;
    });
}

namespace {

// The one that is there, or the one in which it would be made.
std::filesystem::path StoreFolder() {
    std::filesystem::path folder = std::filesystem::absolute(StorePath()).parent_path();
    std::error_code ignored;
    while (!std::filesystem::exists(folder, ignored) && folder.has_relative_path())
        folder = folder.parent_path();
    return folder;
}

}  // namespace

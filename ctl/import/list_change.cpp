#include "ctl/import/list_change.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>

#include "ctl/import/interruption.h"
#include "ctl/output.h"

namespace {

std::vector<tagSource> Without(std::vector<tagSource> sources, const tagSource& source);
void PutInForce(const std::string& pending, const std::string& path);

std::string PendingPath(const tagListKind& kind) {
    return InForcePath(kind) + PENDING_ENDING;
}

}  // namespace

ListChange::ListChange() : m_store(STORE_CREATE) {
    FinishUnfinished();
    m_sources = m_store.Sources();
}

const tagSource* ListChange::Find(const tagListKind& kind, const std::string& name) const {
    const auto found = std::find_if(m_sources.begin(), m_sources.end(), [&](const tagSource& source) {
        return source.pKind == &kind && source.name == name;
    });
    return found == m_sources.end() ? nullptr : &*found;
}

// The note names the list, then each source that the store may not know in the end.
tagMergedList ListChange::Put(tagSource& source, tagURLMapBuilder& builder, uint32_t* pCategoriesLost) {
    RefuseUnknownSources(*source.pKind, {});
    source.nFile = FreeNumber();
    source.nImported = time(nullptr);
    std::vector<std::string> note = {source.pKind->szName, SourceFileName(*source.pKind, source.nFile)};
    const tagSource* pOld = Find(*source.pKind, source.name);
    if (pOld) note.push_back(SourceFileName(*pOld->pKind, pOld->nFile));
    m_lock.Note(note);
    try {
        const int nWritten = WriteURLMap(&builder, SourcePath(*source.pKind, source.nFile).c_str());
        if (nWritten != URLMAP_OK) throw CtlError("cannot write the list: " + MapFailureText(nWritten));
        source.nAccepted = builder.nNames;
        source.nDuplicates = builder.nMerged;
        *pCategoriesLost = builder.nCategoriesLost;
        FreeURLMapBuilder(&builder);  // before as much memory is needed again
        std::vector<tagSource> sources = Without(m_sources, source);
        sources.push_back(source);
        std::ranges::sort(sources, {}, &tagSource::name);
        const tagMergedList merged = Commit(*source.pKind, std::move(sources), [&] { m_store.Put(source); });
        RemoveUnreferenced(note);
        return merged;
    } catch (...) {
        TakeBack(*source.pKind, note);
        throw;
    }
}

tagMergedList ListChange::Remove(const tagSource& source) {
    const tagSource removed = source;
    RefuseUnknownSources(*removed.pKind, {});
    const std::vector<std::string> note = {removed.pKind->szName,
                                           SourceFileName(*removed.pKind, removed.nFile)};
    m_lock.Note(note);
    try {
        const tagMergedList merged =
            Commit(*removed.pKind, Without(m_sources, removed), [&] { m_store.Remove(removed); });
        RemoveUnreferenced(note);
        return merged;
    } catch (...) {
        TakeBack(*removed.pKind, note);
        throw;
    }
}

// All that takes long comes before the store is locked: the daemon writes reports into it.
template <class Change>
tagMergedList ListChange::Commit(const tagListKind& kind, std::vector<tagSource> sources, Change change) {
    const tagMergedList merged = MergeSources(kind, sources, PendingPath(kind));
    LeaveWhenInterrupted();
    m_store.Begin();
    change();
    PutInForce(PendingPath(kind), InForcePath(kind));
    m_bInForceChanged = true;
    m_store.Keep();
    m_bInForceChanged = false;
    m_sources = std::move(sources);
    return merged;
}

void ListChange::FinishUnfinished() {
    const std::vector<std::string> note = m_lock.Unfinished();
    const tagListKind* pKind = note.empty() ? nullptr : FindListKind(note[0]);
    if (!pKind) return;
    m_sources = m_store.Sources();
    RefuseUnknownSources(*pKind, note);
    PrintWarning("an earlier change of the " + std::string(pKind->szName) +
                 " lists was killed; its list is made anew");
    MergeSources(*pKind, m_sources, InForcePath(*pKind));
    RemoveUnreferenced(note);
}

// The list in force may hold their names, imported with another store, and would lose them unasked.
void ListChange::RefuseUnknownSources(const tagListKind& kind,
                                      const std::vector<std::string>& expected) const {
    std::string unknown;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(SourcesFolder(), error)) {
        const std::string file = entry.path().filename().string();
        if (!SourceNumber(file) || !file.starts_with(std::string(kind.szName) + "-")) continue;
        if (IsKnown(file) || std::ranges::count(expected, file) != 0) continue;
        unknown += (unknown.empty() ? "" : ", ") + file;
    }
    if (unknown.empty()) return;
    throw CtlError("refused: in " + Printable(SourcesFolder()) +
                   " are lists that the store of settings does not know (" + unknown +
                   "), and their names would go out of force. Use the store with which they were imported "
                   "(WEBSEC_DB), or remove these files and import the lists again; nothing was changed");
}

bool ListChange::IsKnown(const std::string& file) const {
    return std::ranges::any_of(m_sources, [&file](const tagSource& source) {
        return SourceFileName(*source.pKind, source.nFile) == file;
    });
}

// What cannot be taken back now is left to the next change, by the note.
void ListChange::TakeBack(const tagListKind& kind, const std::vector<std::string>& note) {
    try {
        m_store.TakeBack();
        (void)unlink(PendingPath(kind).c_str());
        if (m_bInForceChanged) MergeSources(kind, m_sources, InForcePath(kind));
        RemoveUnreferenced(note);
    } catch (const CtlError& error) {
        PrintWarning(error.what());
    }
}

void ListChange::RemoveUnreferenced(const std::vector<std::string>& files) {
    for (const auto& file : files) {
        if (SourceNumber(file) && !IsKnown(file)) (void)unlink((SourcesFolder() + "/" + file).c_str());
    }
    m_lock.ClearNote();
}

// Above all that the store knows, and all files, whoever they belong to.
int64_t ListChange::FreeNumber() const {
    int64_t nHighest = 0;
    for (const tagSource& source : m_sources)
        nHighest = std::max(nHighest, source.nFile);
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(SourcesFolder(), error))
        nHighest = std::max(nHighest, SourceNumber(entry.path().filename().string()).value_or(0));
    return nHighest + 1;
}

namespace {

std::vector<tagSource> Without(std::vector<tagSource> sources, const tagSource& source) {
    std::erase_if(sources, [&source](const tagSource& other) {
        return other.pKind == source.pKind && other.name == source.name;
    });
    return sources;
}

// Without a pending list there is none any more.
void PutInForce(const std::string& pending, const std::string& path) {
    if (rename(pending.c_str(), path.c_str()) == 0) return;
    if (errno == ENOENT && (unlink(path.c_str()) == 0 || errno == ENOENT)) return;
    throw CtlError("cannot replace " + Printable(path) + ": " + std::strerror(errno));
}

}  // namespace

// Changes what was imported. The sources, their rows in the store and the list in force change together: a
// change that fails is taken back, one that is killed is taken back or finished by the next.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ctl/import/lists_lock.h"
#include "ctl/import/source_store.h"
#include "modules/urlmap/url_map_builder.h"

class ListChange {
  public:
    // Waits until no other change is at work, and ends what a killed one left.
    ListChange();

    // The source of that kind and name, or null. The record lives until the next change.
    const tagSource* Find(const tagListKind& kind, const std::string& name) const;
    const std::vector<tagSource>& Sources() const { return m_sources; }

    // Makes the names in the builder the source's, in place of one of the same kind and name, and sets its
    // file, counts and time. Returns how many names are in force then. Throws CtlError: nothing has changed.
    uint32_t Put(tagSource& source, tagURLMapBuilder& builder);
    // Removes a source. Throws CtlError: nothing has changed.
    uint32_t Remove(const tagSource& source);

  private:
    template <class Change>
    uint32_t Commit(const tagListKind& kind, std::vector<tagSource> sources, Change change);
    void FinishUnfinished();
    void TakeBack(const tagListKind& kind, const std::vector<std::string>& note);
    void RemoveUnreferenced(const std::vector<std::string>& files);
    int64_t FreeNumber() const;

    ListsLock m_lock;
    SourceStore m_store;
    std::vector<tagSource> m_sources;
    bool m_bInForceChanged = false;
};

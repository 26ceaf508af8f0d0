// Changes what was imported. The sources, their rows in the store and the list in force change together: a
// change that fails is taken back, one that is killed is taken back or finished by the next.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ctl/import/lists_lock.h"
#include "ctl/import/merge_sources.h"
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
    // file, counts and time. Returns what is in force then, and in *pCategoriesLost how many of the
    // source's own categories had no room. Throws CtlError: nothing has changed.
    tagMergedList Put(tagSource& source, tagURLMapBuilder& builder, uint32_t* pCategoriesLost);
    // Removes a source. Throws CtlError: nothing has changed.
    tagMergedList Remove(const tagSource& source);

  private:
    template <class Change>
    tagMergedList Commit(const tagListKind& kind, std::vector<tagSource> sources, Change change);
    void FinishUnfinished();
    void RefuseUnknownSources(const tagListKind& kind, const std::vector<std::string>& expected) const;
    bool IsKnown(const std::string& file) const;
    void TakeBack(const tagListKind& kind, const std::vector<std::string>& note);
    void RemoveUnreferenced(const std::vector<std::string>& files);
    int64_t FreeNumber() const;

    ListsLock m_lock;
    SourceStore m_store;
    std::vector<tagSource> m_sources;
    bool m_bInForceChanged = false;
};

// Records of a document, kept in place in the order they were added, each
// found again by its key: the first record that bears a key is found, as a
// walk over the list in order would find it.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/name_index.h"

namespace morvane {

// `Key` names the record's key, which must stay as it was when the record
// was added (a const member does).
template <class Record, const std::string Record::*Key>
class RecordList {
public:
    Record& Add(std::unique_ptr<Record> record) {
        records_.push_back(std::move(record));
        Record& added = *records_.back();
        byKey_.Note(added.*Key, &added);
        return added;
    }
    // The first record whose key equals `key`, or null.
    Record* Find(std::string_view key) const { return byKey_.Find(key, nullptr); }

    bool empty() const { return records_.empty(); }
    std::size_t size() const { return records_.size(); }
    Record& back() const { return *records_.back(); }
    Record& operator[](std::size_t i) const { return *records_[i]; }
    auto begin() const { return records_.begin(); }
    auto end() const { return records_.end(); }
    void clear() {
        byKey_.Clear();
        records_.clear();
    }

private:
    std::vector<std::unique_ptr<Record>> records_;
    NameIndex<Record*> byKey_;
};

}  // namespace morvane

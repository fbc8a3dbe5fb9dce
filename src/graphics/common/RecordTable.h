#pragma once

#include "engine/core/Ref.h"

#include <map>
#include <string>
#include <utility>

namespace engine::graphics {

/// The records of a database by id, each shared (intrusively counted): the table is one
/// holder of each record, and the first record of an id stands. Script thread only,
/// as the databases are.
template <class Record>
class RecordTable {
public:
    RecordTable() = default;
    RecordTable(const RecordTable&) = delete;
    RecordTable& operator=(const RecordTable&) = delete;

    bool contains(const std::string& id) const { return records_.count(id) != 0; }

    /// Holds `record` under `id`; false (and nothing held) when the id is taken already.
    bool add(const std::string& id, Record* record) {
        if (!record || contains(id)) return false;
        records_[id] = record;
        return true;
    }

    /// The record of that id, or null; no reference is taken.
    Record* find(const std::string& id) const {
        auto it = records_.find(id);
        return it == records_.end() ? nullptr : it->second;
    }

    /// The record of that id, held for the caller, or null.
    core::Ref<Record> acquire(const std::string& id) const { return find(id); }

    /// Lets go of every record. The table is empty before the first one goes, so a
    /// record whose destruction reaches back into its database finds nothing.
    void clear() {
        std::map<std::string, core::Ref<Record>> records = std::move(records_);
        records_.clear();
    }

    std::size_t size() const { return records_.size(); }

private:
    std::map<std::string, core::Ref<Record>> records_;
};

}  // namespace engine::graphics

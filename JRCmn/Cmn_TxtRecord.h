#pragma once

// TxtRecord: what a service says about itself: texts under keys.
//
//   TxtRecord record;
//   record.SetKey("model", "Desk 48");
//   std::string model;
//   if (record.FindKey("model", model)) ...
//   for (const auto& [key, value] : record) ...
//
// Threads:   one object belongs to one thread at a time
// Ownership: owns its texts
// Errors:    none; a key that is not there is answered with false
// Units:     bytes, by custom UTF-8. Keys are compared byte by byte and come in that order. (On the wire "a" and "A" are the
//            same key: a record with both is announced with the later one.)

#include <cstddef>
#include <map>
#include <string>
#include <string_view>

class TxtRecord {
    using Map = std::map<std::string, std::string, std::less<>>;

public:
    // False leaves outValue alone.
    bool FindKey(std::string_view key, std::string& outValue) const {
        const auto found = mValues.find(key);
        if (found == mValues.end()) return false;
        outValue = found->second;
        return true;
    }
    // Replaces the value of a key that is there.
    void SetKey(std::string_view key, std::string_view value) {
        if (!AddKey(key, value)) mValues.find(key)->second = value;
    }
    // False, and no change, when the key is there.
    bool AddKey(std::string_view key, std::string_view value) {
        // Keys mostly arrive in order.
        const bool isLast = mValues.empty() || mValues.rbegin()->first < key;
        const auto at = isLast ? mValues.end() : mValues.lower_bound(key);
        if (at != mValues.end() && at->first == key) return false;
        mValues.emplace_hint(at, key, value);
        return true;
    }

    std::size_t GetCount() const { return mValues.size(); }
    Map::const_iterator begin() const { return mValues.begin(); }
    Map::const_iterator end() const { return mValues.end(); }

    friend bool operator==(const TxtRecord&, const TxtRecord&) = default;

private:
    Map mValues;
};

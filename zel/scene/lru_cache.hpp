// A bounded map that forgets what was used least recently.
//
// Every value has a cost, given by the Cost function object when the value is
// inserted; the sum of the costs of the values held never exceeds the budget.
// A value that costs more than the whole budget is refused, and the cache is
// then left exactly as it was, the value of the same key included. Inserting
// a key that is present replaces its value and charges only the new cost.
// Making room evicts the least recently used values first; a get counts as a
// use.
//
// All operations are safe from several threads: one mutex guards the cache,
// held for the operation only. A refusal takes no lock at all. Values that
// leave the cache are released after the lock is given back, so that freeing
// a large value never holds up another thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <list>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

namespace vorn::zel {

template <class Key, class Value, class Cost, class Hash>
class lru_cache {
  public:
    struct usage {
        std::size_t elements = 0;
        std::uint64_t cost = 0;
        std::uint64_t budget = 0;
    };

    explicit lru_cache(std::uint64_t budget) : budget_(budget) {}
    lru_cache(const lru_cache&) = delete;
    lru_cache& operator=(const lru_cache&) = delete;

    // Copies the value of key to out and makes it the most recently used.
    bool get(const Key& key, Value& out) {
        const std::lock_guard<std::mutex> hold(lock_);
        const auto found = index_.find(key);
        if (found == index_.end()) {
            return false;
        }
        entries_.splice(entries_.end(), entries_, found->second);
        out = found->second->value;
        return true;
    }

    // Takes value in under key as the most recently used, evicting others as
    // needed; false if the value alone is over budget.
    bool insert(const Key& key, Value value) {
        const std::uint64_t cost = Cost{}(value);
        if (cost > budget_) {
            return false;
        }
        std::vector<Value> released;
        {
            const std::lock_guard<std::mutex> hold(lock_);
            current_cost_ += cost;
            const auto found = index_.find(key);
            if (found != index_.end()) {
                current_cost_ -= found->second->cost;
                released.push_back(std::move(found->second->value));
                entries_.erase(found->second);
            }
            // The new value is not in the list yet, so it cannot evict
            // itself, and as it fits the budget the loop ends.
            while (current_cost_ > budget_ && !entries_.empty()) {
                element& oldest = entries_.front();
                index_.erase(oldest.key);
                current_cost_ -= oldest.cost;
                released.push_back(std::move(oldest.value));
                entries_.pop_front();
            }
            entries_.push_back(element{key, std::move(value), cost});
            if (found != index_.end()) {
                found->second = std::prev(entries_.end());
            } else {
                index_.emplace(key, std::prev(entries_.end()));
            }
        }
        return true;
    }

    usage current_usage() const {
        const std::lock_guard<std::mutex> hold(lock_);
        return {entries_.size(), current_cost_, budget_};
    }

    // The keys from the least to the most recently used.
    std::vector<Key> keys_by_use() const {
        const std::lock_guard<std::mutex> hold(lock_);
        std::vector<Key> keys;
        keys.reserve(entries_.size());
        for (const element& e : entries_) {
            keys.push_back(e.key);
        }
        return keys;
    }

  private:
    struct element {
        Key key;
        Value value;
        // The cost as charged, so that what leaves is what came in even if
        // the value changed meanwhile.
        std::uint64_t cost;
    };
    using element_list = std::list<element>;

    element_list entries_;
    std::unordered_map<Key, typename element_list::iterator, Hash> index_;
    std::uint64_t current_cost_ = 0;
    const std::uint64_t budget_;
    mutable std::mutex lock_;
};

}  // namespace vorn::zel

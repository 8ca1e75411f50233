// The order of a list in which the items of one name stay together.
//
// Items are numbered in the order they are entered: 0, 1, 2 and so on. The
// list order is another: a new item goes directly behind the last live item
// of its name, or at the end of the list if its name has none, so the items
// of one name form a run in the order they came, and the runs follow the
// first entry of each name. Items may be taken out; their numbers stay
// unused.
//
// The owner keeps its items as nodes in a random-access sequence, by number,
// each node with two members `next` and `previous` of type id that only this
// class writes: the links lie beside what the owner keeps, in one place in
// memory. This class keeps the rest: the ends of the list, the count of live
// items and, for a long list, the index.
//
// Entering costs constant time whatever the number of names. While there are
// at most `scanned` items, the run of a name is found by a scan that asks the
// owner whether an item bears the name, so that the owner may compare
// something cheaper than texts first; past that, an index by the text of the
// names is built once and kept. Key is the index's key: std::string_view
// where the owner's texts stay where they are for the life of the list,
// std::string where they may move.
#pragma once

#include <google/dense_hash_map>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "zel/foundation/hash.hpp"

namespace vorn {

template <class Key, std::uint32_t scanned>
class name_runs {
  public:
    using id = std::uint32_t;
    static constexpr id none = 0xFFFFFFFF;
    // The previous of a node whose item was taken out.
    static constexpr id removed = 0xFFFFFFFE;
    // The live items of one name, from head to tail; both none if there are
    // none.
    struct run {
        id head = none;
        id tail = none;
    };

    static constexpr std::uint32_t scanned_items = scanned;

    // Raises std::length_error unless a sequence of size nodes has room for
    // one more that an id can number.
    static void check_room(std::size_t size) {
        if (size >= removed) {
            throw std::length_error("list<T> too long");
        }
    }

    std::size_t live() const noexcept { return live_; }
    id first() const noexcept { return first_; }

    // The run of name among nodes; is_named(item) tells whether an item bears
    // it.
    template <class Nodes, class IsNamed>
    run find(const Nodes& nodes, std::string_view name, IsNamed is_named) const {
        return index_ ? index_->find(name) : scan(nodes, nodes.size(), is_named);
    }

    // Links the last of nodes, just added, under name. is_named is as for
    // find; name_of(item) gives the name of an earlier item, for the index.
    // With Key std::string_view, name must stay where it is.
    template <class Nodes, class IsNamed, class NameOf>
    void enter(Nodes& nodes, std::string_view name, IsNamed is_named, NameOf name_of) {
        const auto at = static_cast<id>(nodes.size() - 1);
        if (!index_ && at == scanned) {
            build_index(nodes, name_of);
        }
        id tail;
        if (index_) {
            run& r = index_->at(name);
            tail = r.tail;
            r.head = r.head == none ? at : r.head;
            r.tail = at;
        } else {
            tail = scan(nodes, at, is_named).tail;
        }
        link_after(nodes, at, tail == none ? last_ : tail);
        ++live_;
    }

    // Links the last of nodes behind tail, the last live item of its name,
    // or at the end of the list if tail is none: for an owner that found the
    // run itself. Only while the list holds at most `scanned` items, so that
    // no index needs to learn of it.
    template <class Nodes>
    void enter_behind(Nodes& nodes, id tail) noexcept {
        const auto at = static_cast<id>(nodes.size() - 1);
        link_after(nodes, at, tail == none ? last_ : tail);
        ++live_;
    }

    // Takes out the items of the run of name for which drop(item) holds.
    template <class Nodes, class IsNamed, class Drop>
    void remove_if(Nodes& nodes, std::string_view name, IsNamed is_named, Drop drop) {
        const run r = find(nodes, name, is_named);
        if (r.head == none) {
            return;
        }
        const id end = nodes[r.tail].next;
        run kept;
        for (id at = r.head; at != end;) {
            const id after = nodes[at].next;
            if (drop(at)) {
                unlink(nodes, at);
            } else {
                kept.head = kept.head == none ? at : kept.head;
                kept.tail = at;
            }
            at = after;
        }
        if (index_) {
            index_->at(name) = kept;
        }
    }

    void swap(name_runs& other) noexcept {
        index_.swap(other.index_);
        std::swap(first_, other.first_);
        std::swap(last_, other.last_);
        std::swap(live_, other.live_);
    }

  private:
    // The runs by the text of their name. The empty text is the table's empty
    // key and may not be entered, so the run of the unnamed items is kept
    // beside it.
    class index {
      public:
        index() { table_.set_empty_key(Key()); }
        run find(std::string_view name) const {
            if (name.empty()) {
                return unnamed_;
            }
            const auto found = table_.find(Key(name));
            return found == table_.end() ? run{} : found->second;
        }
        // The run of that name, made empty if there was none.
        run& at(std::string_view name) {
            if (name.empty()) {
                return unnamed_;
            }
            return table_.insert({Key(name), run{}}).first->second;
        }

      private:
        google::dense_hash_map<Key, run, hash<Key>> table_;
        run unnamed_;
    };

    // The items of one name lie in the order of their run, so the first and
    // the last live one are its head and its tail.
    template <class Nodes, class IsNamed>
    static run scan(const Nodes& nodes, std::size_t count, IsNamed is_named) {
        run found;
        for (id at = 0; at < count; ++at) {
            if (nodes[at].previous != removed && is_named(at)) {
                found.head = found.head == none ? at : found.head;
                found.tail = at;
            }
        }
        return found;
    }

    template <class Nodes, class NameOf>
    void build_index(const Nodes& nodes, NameOf name_of) {
        auto built = std::make_unique<index>();
        for (id at = 0; at < nodes.size() - 1; ++at) {
            if (nodes[at].previous != removed) {
                run& r = built->at(name_of(at));
                r.head = r.head == none ? at : r.head;
                r.tail = at;
            }
        }
        index_ = std::move(built);
    }

    template <class Nodes>
    void link_after(Nodes& nodes, id at, id after) noexcept {
        auto& n = nodes[at];
        n.previous = after;
        if (after == none) {
            n.next = first_;
            first_ = at;
        } else {
            n.next = nodes[after].next;
            nodes[after].next = at;
        }
        if (n.next == none) {
            last_ = at;
        } else {
            nodes[n.next].previous = at;
        }
    }

    template <class Nodes>
    void unlink(Nodes& nodes, id at) noexcept {
        auto& n = nodes[at];
        (n.previous == none ? first_ : nodes[n.previous].next) = n.next;
        (n.next == none ? last_ : nodes[n.next].previous) = n.previous;
        n.previous = removed;
        --live_;
    }

    std::unique_ptr<index> index_;
    id first_ = none;
    id last_ = none;
    std::uint32_t live_ = 0;
};

}  // namespace vorn

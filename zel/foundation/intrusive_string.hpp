// A 16-byte handle to text that lives elsewhere.
//
// The handle borrows its bytes: it neither owns nor terminates them, and
// copying it copies three fields. Texts interned into an atom_table carry the
// atom's number in `index`; every other handle has index no_index. Equality
// looks at the bytes only, never at `index` or at where the bytes are, so a
// borrowed text finds its atom in a table keyed by handles.
#pragma once

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>

#include "zel/foundation/hash.hpp"

namespace vorn {

struct intrusive_string {
    static constexpr std::uint32_t no_index = 0xFFFFFFFF;

    const char* data = nullptr;
    std::uint32_t size = 0;
    std::uint32_t index = no_index;

    // The unset handle: no bytes, no atom.
    constexpr intrusive_string() noexcept = default;
    constexpr intrusive_string(const char* bytes, std::uint32_t length,
                               std::uint32_t atom = no_index) noexcept
        : data(bytes), size(length), index(atom) {}

    // Borrowing constructors. Sizes beyond 32 bits are truncated, as the
    // handle has no room for them.
    explicit intrusive_string(std::string_view text) noexcept
        : data(text.data()), size(static_cast<std::uint32_t>(text.size())) {}
    explicit intrusive_string(const std::string& text) noexcept
        : intrusive_string(std::string_view(text)) {}
    explicit intrusive_string(const char* text) noexcept
        : intrusive_string(std::string_view(text)) {}
    // A temporary string would leave the handle dangling.
    explicit intrusive_string(std::string&&) = delete;

    constexpr bool empty() const noexcept { return size == 0; }
    constexpr bool is_atom() const noexcept { return index != no_index; }

    std::string_view view() const noexcept { return {data, size}; }
    std::string str() const { return std::string(data, size); }

    friend bool operator==(const intrusive_string& a, const intrusive_string& b) noexcept {
        return a.size == b.size && (a.size == 0 || std::memcmp(a.data, b.data, a.size) == 0);
    }
};

static_assert(sizeof(intrusive_string) == 16);

template <>
struct hash<intrusive_string> {
    std::uint64_t operator()(const intrusive_string& text) const noexcept {
        return hash_bytes(text.data, text.size);
    }
};

}  // namespace vorn

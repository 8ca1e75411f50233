// The tokens of the atomized scene document: an atom's number in base 64,
// least significant digit first, at least one and at most six digits, in
// the alphabet ".0-9A-Z_a-z" (digit values 0 to 63). 0 is ".", 63 is "z",
// 64 is ".0", 4096 is "..0".
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "zel/foundation/atom_table.hpp"
#include "zel/foundation/intrusive_string.hpp"
#include "zel/scene/scene_texts.hpp"

namespace vorn::zel::tokens {

inline constexpr std::string_view alphabet =
    ".0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";
inline constexpr std::size_t max_digits = 6;

// Writes the token of number to out and returns its length.
inline std::size_t encode(std::uint32_t number, char (&out)[max_digits]) noexcept {
    std::size_t length = 0;
    do {
        out[length++] = alphabet[number & 63];
        number >>= 6;
    } while (number != 0);
    return length;
}

// The value of each character as a digit; 0xFF outside the alphabet.
inline constexpr std::array<std::uint8_t, 256> digit_values = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(0xFF);
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
        values[static_cast<unsigned char>(alphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return values;
}();

// What decode answers for a token that names no 32-bit number: longer than
// six digits, or six whose value passes 32 bits. No valid document has one,
// and folding it onto a small number would read a damaged document as some
// other scene, so readers refuse it.
inline constexpr std::uint64_t unfit = std::uint64_t{1} << 32;

// The number of a token, read from its last character to its first, or
// unfit. A character outside the alphabet counts as the digit 0xFF, ORed in
// as it stands, so a damaged token gives some number, never a failure;
// callers check the number against unfit and against their table. The empty
// token is 0. Inline, since a reader decodes several tokens per parameter.
inline std::uint64_t decode(std::string_view token) noexcept {
    if (token.size() > max_digits) {
        return unfit;
    }
    std::uint64_t number = 0;
    for (std::size_t i = token.size(); i-- > 0;) {
        number = digit_values[static_cast<unsigned char>(token[i])] | (number << 6);
    }
    return number < unfit ? number : unfit;
}

// The token of a word's atom in a document just read; a word that the table
// lacks is added, and its new token matches nothing in the document. The scan
// finds what interning would find, without hashing the whole table.
inline std::string_view token_of_word(atom_table& atoms, std::string_view word,
                                      char (&buffer)[max_digits]) {
    std::int32_t found = atoms.find_first(word);
    if (found < 0) {
        found = atoms.intern_index(intrusive_string(word));
    }
    return {buffer, encode(static_cast<std::uint32_t>(found), buffer)};
}

// The tokens of the four attribute words name, type, unit and tag in a
// document just read, each in a buffer of its own.
class attribute_words {
  public:
    attribute_words() = default;
    // The views point into this object's buffers.
    attribute_words(const attribute_words&) = delete;
    attribute_words& operator=(const attribute_words&) = delete;

    void find(atom_table& atoms) {
        name = token_of_word(atoms, texts::name_attribute, buffers_[0]);
        type = token_of_word(atoms, texts::type_attribute, buffers_[1]);
        unit = token_of_word(atoms, texts::unit_attribute, buffers_[2]);
        tag = token_of_word(atoms, texts::tag_attribute, buffers_[3]);
    }

    std::string_view name;
    std::string_view type;
    std::string_view unit;
    std::string_view tag;

  private:
    char buffers_[4][max_digits] = {};
};

}  // namespace vorn::zel::tokens

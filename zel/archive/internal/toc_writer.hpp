// Prints the table of contents of an archive as XML text:
//
//   <?xml version="1.0" encoding="utf-8"?>
//   <zelindex version="0 1">
//   	<zelentry name="...">
//   		<off type="integer">48</off>
//   		<csize type="integer">913</csize>
//   		<dsize type="integer">4096</dsize>
//   		<hash type="integer">16632167572095332708</hash>
//   		(one element per entry parameter)
//   	</zelentry>
//   </zelindex>
//
// with tab indentation, line feeds, and one more line feed at the end. The
// text is deflated into the archive, so its bytes decide the stored table's
// hash and every byte here matters.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "zel/archive/entry_params.hpp"

namespace vorn::zela {

// Whether the table of contents can carry text as the name of an element: an
// XML name, that is a letter, "_", ":" or a byte of 0x80 and above, then any
// of those, digits, "." and "-". The parser would take anything else for the
// end of the name or for markup.
bool is_toc_element_name(std::string_view text) noexcept;
// Whether it can carry text as an attribute value or the text of an element:
// the printer escapes markup, but the parser reads zero-terminated text, so a
// NUL byte would end the table of contents there.
bool is_toc_text(std::string_view text) noexcept;

class toc_writer {
  public:
    toc_writer(std::uint16_t version_major, std::uint16_t version_minor);
    ~toc_writer();
    toc_writer(const toc_writer&) = delete;
    toc_writer& operator=(const toc_writer&) = delete;

    // Appends one zelentry: the four fields, then the parameters in list
    // order (params may be null).
    void add_entry(std::string_view name, std::uint64_t off, std::uint64_t csize,
                   std::uint64_t dsize, std::uint64_t hash, const entry_params* params);

    std::string print() const;

  private:
    struct document;
    std::unique_ptr<document> document_;
};

}  // namespace vorn::zela

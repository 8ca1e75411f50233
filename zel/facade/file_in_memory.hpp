// A whole file read into memory, for ZELFile's second attempt at storing a
// binary. It never raises for the file: contentSize() is 0 unless every byte
// was read, whether the file could not be opened, was empty, was too large
// for memory or failed to read.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace Tessaly::Corvane::DB::ZEL {

class FileInMemory {
  public:
    // The size is taken as a signed 32-bit number, so a file of 2 GiB or more
    // reads as failed (or, past 4 GiB, as its size modulo 2^32).
    explicit FileInMemory(const std::wstring& strFile);

    const char* contents() const noexcept { return m_contents.get(); }
    std::int32_t contentSize() const noexcept { return m_content_size; }

  private:
    std::unique_ptr<char[]> m_contents;
    std::int32_t m_content_size = 0;
};

}  // namespace Tessaly::Corvane::DB::ZEL

// ZELFile: the object through which the host writes one package.
//
// Create opens the package and loads the two content libraries from
// contentLocation, "/library.zelc" under the alias "FerraneLibrary" and
// "/oblis_library.zelc" under "OblisLibrary". With both loaded, every link
// into a library is proven as it is added; if either fails, Create still
// returns a working file, with validation off (and the first library
// registered if only the second failed), and says so in its log text alone:
//
//   both loaded    "Loading oblis_library.zelc from : " + contentLocation + NewLine
//   first failed   "Loading library.zelc from : " + contentLocation + NewLine
//                  + "Failed to library.zelc or oblis_library.zelc from : "
//                  + contentLocation + NewLine
//   second failed  the "Loading oblis_library.zelc" line and the "Failed to" line
//
// Each "Loading" line replaces the text before it, as the log is meant to read.
//
// Arguments are checked first, in this order, each raising before anything
// happens (strings: null and empty alike):
//
//   constructor, Create   ArgumentNullException "Input null zel file location path."
//   Create                ArgumentNullException "Input null content location path."
//   AddBlock              "typeTag is empty or null.", "blockName is empty or null."
//   BlockExists           "blockName is empty or null."
//   AddBinaryData (path)  "hint is empty or null.", "path is empty or null."
//   AddBinaryData (data)  "hint is empty or null.", an absent box "data is null.",
//                         ArgumentException "size should be above zero.", and a
//                         box that holds a null pointer "data is null." after that
//
// Apart from these, ZELFile translates nothing: what the native writer raises
// reaches the host as it is. AddBinaryData with a path is the one operation
// with a second chance: if storing the file fails for any reason, the file is
// read into memory (FileInMemory) and stored from there; if it cannot be read,
// InvalidOperationException "Add binary data failed." is raised, and what the
// second attempt raises reaches the host. The returned name is the entry that
// holds the bytes, which may be an earlier entry with the same bytes and not
// the hint: later links must use it.
//
// Closing. CloseFile completes the package and may raise; it can be called
// any number of times, and after it every operation but CloseFile and Dispose
// is a breach of contract, and every ZELBlock of the file is dead. If the
// close raises, the failure is the host's only information and the object
// stays closed. Dispose is CloseFile. The destructor plays the runtime's
// finalisation: it closes a package that nobody closed, and since a
// destructor cannot report, an exception of that close is dropped; the file
// is then a well-formed archive of the binaries that reached it, without its
// scene. Call CloseFile to learn of a failed close.
//
// One thread at a time; the object has no locks.
#pragma once

#include <cstdint>
#include <memory>

#include "zel/facade/host_string.hpp"
#include "zel/facade/zel_block.hpp"

namespace vorn::zel {
class zel_file_writer;
}

namespace Tessaly::Corvane::DB::ZEL {

class ZELFile {
  public:
    // A package at filename, validated against the libraries in
    // contentLocation; message receives the log text described above.
    static std::unique_ptr<ZELFile> Create(const System::String& filename,
                                           const System::String& contentLocation,
                                           System::String& message);

    // The façade's own: a package at locationToWrite with no library. allowDup
    // keeps a second copy of equal bytes; atomize writes the atomized scene.
    ZELFile(const System::String& locationToWrite, bool allowDup, bool atomize);
    ZELFile(const ZELFile&) = delete;
    ZELFile& operator=(const ZELFile&) = delete;
    ~ZELFile();

    ZELBlock AddBlock(const System::String& typeTag, const System::String& blockName);
    bool BlockExists(const System::String& blockName);
    System::String AddBinaryData(const System::String& hint, const System::String& path);
    System::String AddBinaryData(const System::String& hint, const System::BoxedIntPtr& data,
                                 std::int32_t size);
    void CloseFile();
    void Dispose();

  private:
    std::unique_ptr<vorn::zel::zel_file_writer> m_zel_writer;
};

}  // namespace Tessaly::Corvane::DB::ZEL

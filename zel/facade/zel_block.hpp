// ZELBlock: the host's handle on one block of the scene that a ZELFile
// writes.
//
// The host only fills a block and never reads it back. Every operation
// checks its arguments first, in the order listed, and raises the first
// failing check before anything has happened; a check of a string rejects
// the null text and the empty text alike:
//
//   AddParameter (int, float)   ArgumentNullException "paramName is empty or null."
//   AddParameter (string)       then "val is empty or null."
//   AddParameter (four strings) "paramName is empty or null.", then, if valType
//                               and val are both empty or null, "valType or val
//                               can not be both empty or null."
//   AddLink                     "paramName is empty or null.", "blockName is empty or null."
//   AddLinkWithTag              "paramName is empty or null.", "tagName is empty or null."
//   AddBinaryLink               "paramName is empty or null.", "binName is empty or null."
//   AddBinaryLinkWithData       "paramName is empty or null.", then for a path
//                               "pathToData is empty or null."; for bytes
//                               "binNameHint is empty or null.", an absent box
//                               "data is empty.", then ArgumentException "size
//                               should be above zero." for a size below 1
//   AddExtraAttribute           "attrName is empty or null.", "attrValue is empty or null."
//
// Beyond the checks, what the native block raises reaches the host as it is,
// with one exception: AddBinaryLink turns any failure into
// InvalidOperationException with the native text, after removing every
// parameter of that name that has no tag, so that a link which failed
// validation does not stay behind. AddLink keeps such a link.
//
// A ZELBlock does not own its block: it must not be used once its ZELFile has
// closed. Text conversion follows host_text.hpp.
#pragma once

#include <cstdint>

#include "zel/facade/host_string.hpp"

namespace vorn::zel {
class zel_block;
}

namespace Tessaly::Corvane::DB::ZEL {

class ZELBlock {
  public:
    // Made by ZELFile::AddBlock; no check of the pointer.
    explicit ZELBlock(vorn::zel::zel_block* pBlock) noexcept : m_block(pBlock) {}

    // An integer value, of type "integer".
    void AddParameter(const System::String& paramName, std::int32_t val);
    // A float value, of type "double".
    void AddParameter(const System::String& paramName, float val);
    // A text value, of type "string".
    void AddParameter(const System::String& paramName, const System::String& val);
    // A value of the caller's type word, or of type "string" if valType is
    // empty or null; a type with an empty value is legal, and the type word is
    // not checked. An empty unitType means no unit.
    void AddParameter(const System::String& paramName, const System::String& valType,
                      const System::String& val, const System::String& unitType);

    // A link to blockName in the library location, or in this scene if
    // location is empty or null. A link into a library is checked when the
    // file validates, and stays in the block if the check fails.
    void AddLink(const System::String& paramName, const System::String& blockName);
    void AddLink(const System::String& paramName, const System::String& blockName,
                 const System::String& location);
    // A link to a block of this scene with a tag: value "#" + blockName, never
    // validated and naming no library. An empty blockName gives "#"; a null
    // one fails in the text conversion.
    void AddLinkWithTag(const System::String& paramName, const System::String& blockName,
                        const System::String& tagName);
    // A link to a binary stored already, in this package or in the library
    // location.
    void AddBinaryLink(const System::String& paramName, const System::String& binName,
                       const System::String& location);
    // Stores the file, under binNameHint or, if that is empty or null, under
    // a name the block forms from the path, and links to the entry that
    // holds the bytes.
    void AddBinaryLinkWithData(const System::String& paramName, const System::String& pathToData,
                               const System::String& binNameHint);
    // The same for size bytes at the boxed pointer. A box that holds a null
    // pointer passes the check of the box, and then raises
    // ArgumentNullException "data is empty." in place of reading from it.
    void AddBinaryLinkWithData(const System::String& paramName, const System::String& binNameHint,
                               const System::BoxedIntPtr& data, std::int32_t size);
    void AddExtraAttribute(const System::String& attrName, const System::String& attrValue);

  private:
    vorn::zel::zel_block* m_block;
};

}  // namespace Tessaly::Corvane::DB::ZEL

// The façade's own words: the texts of its argument checks and conversions,
// its log lines and the names under which it registers the content
// libraries. Hosts compare some of them, so each stands here once.
#pragma once

#include <string_view>

namespace Tessaly::Corvane::DB::ZEL::texts {

// Text conversion.
inline constexpr std::u16string_view null_conversion =
    u"NULLPTR is not supported for this conversion.";
inline constexpr std::u16string_view to_narrow_failed =
    u"Conversion from WideChar to MultiByte failed.  Please check the content of the string "
    u"and/or locale settings.";
inline constexpr std::u16string_view to_host_failed =
    u"Conversion from MultiByte to WideChar failed.  Please check the content of the string "
    u"and/or locale settings.";
inline constexpr std::u16string_view size_exceeds_int_max = u"Size of string exceeds INT_MAX.";

// Checks of ZELFile.
inline constexpr std::u16string_view null_file_location = u"Input null zel file location path.";
inline constexpr std::u16string_view null_content_location = u"Input null content location path.";
inline constexpr std::u16string_view null_type_tag = u"typeTag is empty or null.";
inline constexpr std::u16string_view null_block_name = u"blockName is empty or null.";
inline constexpr std::u16string_view null_hint = u"hint is empty or null.";
inline constexpr std::u16string_view null_path = u"path is empty or null.";
inline constexpr std::u16string_view null_file_data = u"data is null.";
inline constexpr std::u16string_view size_not_positive = u"size should be above zero.";
inline constexpr std::u16string_view writer_not_created = u"Create the internal zel writer failed.";
inline constexpr std::u16string_view add_binary_data_failed = u"Add binary data failed.";

// Checks of ZELBlock.
inline constexpr std::u16string_view null_param_name = u"paramName is empty or null.";
inline constexpr std::u16string_view null_val = u"val is empty or null.";
inline constexpr std::u16string_view null_type_and_val =
    u"valType or val can not be both empty or null.";
inline constexpr std::u16string_view null_tag_name = u"tagName is empty or null.";
inline constexpr std::u16string_view null_bin_name = u"binName is empty or null.";
inline constexpr std::u16string_view null_path_to_data = u"pathToData is empty or null.";
inline constexpr std::u16string_view null_bin_name_hint = u"binNameHint is empty or null.";
inline constexpr std::u16string_view null_block_data = u"data is empty.";
inline constexpr std::u16string_view null_attr_name = u"attrName is empty or null.";
inline constexpr std::u16string_view null_attr_value = u"attrValue is empty or null.";

// The content libraries and the log of ZELFile::Create.
inline constexpr std::u16string_view first_library_file = u"/library.zelc";
inline constexpr std::u16string_view second_library_file = u"/oblis_library.zelc";
inline constexpr std::string_view first_library_alias = "FerraneLibrary";
inline constexpr std::string_view second_library_alias = "OblisLibrary";
inline constexpr std::u16string_view loading_first_library = u"Loading library.zelc from : ";
inline constexpr std::u16string_view loading_second_library = u"Loading oblis_library.zelc from : ";
inline constexpr std::u16string_view loading_failed =
    u"Failed to library.zelc or oblis_library.zelc from : ";

// Words of links that the façade builds itself.
inline constexpr std::string_view link_type = "link";
inline constexpr std::string_view link_separator = "#";

}  // namespace Tessaly::Corvane::DB::ZEL::texts

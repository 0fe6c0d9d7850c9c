#include "blocks/kind.h"

#include <cstring>

namespace markdown::blocks {
namespace {

// The length is known at compile time, so the comparison takes a few instructions instead of a call.
template <Kind kKind>
Kind if_named(const char* type) noexcept {
  constexpr std::string_view kName = type_name(kKind);
  return std::memcmp(type, kName.data(), kName.size()) == 0 ? kKind : Kind::kOther;
}

Kind atx_marker(const char* type) noexcept {
  const char level = type[5];
  if (level < '1' || level > '6' || std::memcmp(type, "atx_h", 5) != 0 || std::memcmp(type + 6, "_marker", 7) != 0) {
    return Kind::kOther;
  }
  return static_cast<Kind>(static_cast<int>(Kind::kAtxH1Marker) + (level - '1'));
}

}  // namespace

// The length of a name, and for some lengths one letter, leaves only one type that the name can be. Only that type is
// compared.
Kind kind_of(std::string_view name) noexcept {
  const char* type = name.data();
  switch (name.size()) {
    case 4:
      return if_named<Kind::kList>(type);
    case 5:
      return if_named<Kind::kError>(type);
    case 6:
      return if_named<Kind::kInline>(type);
    case 7:
      return if_named<Kind::kSection>(type);
    case 8:
      return if_named<Kind::kDocument>(type);
    case 9:
      return type[0] == 'p' ? if_named<Kind::kParagraph>(type) : if_named<Kind::kListItem>(type);
    case 10:
      return if_named<Kind::kPipeTable>(type);
    case 11:
      return type[0] == 'a' ? if_named<Kind::kAtxHeading>(type) : if_named<Kind::kBlockQuote>(type);
    case 13:
      return type[0] == 'p' ? if_named<Kind::kPlusMetadata>(type) : atx_marker(type);
    case 14:
      if (type[0] == 's') return if_named<Kind::kSetextHeading>(type);
      return type[0] == 'm' ? if_named<Kind::kMinusMetadata>(type) : if_named<Kind::kPipeTableRow>(type);
    case 15:
      return if_named<Kind::kPipeTableCell>(type);
    case 16:
      return if_named<Kind::kLinkDestination>(type);
    case 17:
      return if_named<Kind::kPipeTableHeader>(type);
    case 19:
      return type[8] == '1' ? if_named<Kind::kSetextH1Underline>(type) : if_named<Kind::kSetextH2Underline>(type);
    case 25:
      return if_named<Kind::kLinkReferenceDefinition>(type);
    default:
      return Kind::kOther;
  }
}

}  // namespace markdown::blocks

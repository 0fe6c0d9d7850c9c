#include "blocks/kind.h"

namespace markdown::blocks {
namespace {

// The type that a name may be, from its length and one of its letters; the name itself is compared once afterwards.
constexpr Kind candidate(std::string_view type) noexcept {
  switch (type.size()) {
    case 4:
      return Kind::kList;
    case 5:
      return Kind::kError;
    case 6:
      return Kind::kInline;
    case 7:
      return Kind::kSection;
    case 8:
      return Kind::kDocument;
    case 9:
      return type[0] == 'p' ? Kind::kParagraph : Kind::kListItem;
    case 10:
      return Kind::kPipeTable;
    case 11:
      return type[0] == 'a' ? Kind::kAtxHeading : Kind::kBlockQuote;
    case 13:
      if (type[0] == 'p') return Kind::kPlusMetadata;
      if (type[5] < '1' || type[5] > '6') return Kind::kOther;
      return static_cast<Kind>(static_cast<int>(Kind::kAtxH1Marker) + (type[5] - '1'));
    case 14:
      return type[0] == 's' ? Kind::kSetextHeading : type[0] == 'm' ? Kind::kMinusMetadata : Kind::kPipeTableRow;
    case 15:
      return Kind::kPipeTableCell;
    case 16:
      return Kind::kLinkDestination;
    case 17:
      return Kind::kPipeTableHeader;
    case 19:
      return type[8] == '1' ? Kind::kSetextH1Underline : Kind::kSetextH2Underline;
    case 25:
      return Kind::kLinkReferenceDefinition;
    default:
      return Kind::kOther;
  }
}

}  // namespace

Kind kind_of(std::string_view type) noexcept {
  const Kind kind = candidate(type);
  return kind != Kind::kOther && type_name(kind) == type ? kind : Kind::kOther;
}

}  // namespace markdown::blocks

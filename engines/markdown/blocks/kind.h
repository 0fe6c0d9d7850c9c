// The kinds of block-tree nodes that the engine tells apart. A node's type is classified once.
//
// Tested by tests/test_blocks.py.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace markdown::blocks {

// In the order of kTypeNames, which has the grammar's names. Every other type is kOther.
enum class Kind : std::uint8_t {
  kDocument,
  kSection,
  kError,
  kAtxHeading,
  kSetextHeading,
  kParagraph,
  kInline,
  kPipeTableCell,
  kBlockQuote,
  kList,
  kListItem,
  kPipeTable,
  kPipeTableHeader,
  kPipeTableRow,
  kMinusMetadata,
  kPlusMetadata,
  kLinkReferenceDefinition,
  kLinkDestination,
  kAtxH1Marker,
  kAtxH2Marker,
  kAtxH3Marker,
  kAtxH4Marker,
  kAtxH5Marker,
  kAtxH6Marker,
  kSetextH1Underline,
  kSetextH2Underline,
  kOther,
};

inline constexpr std::array<std::string_view, static_cast<std::size_t>(Kind::kOther)> kTypeNames = {
    "document",
    "section",
    "ERROR",
    "atx_heading",
    "setext_heading",
    "paragraph",
    "inline",
    "pipe_table_cell",
    "block_quote",
    "list",
    "list_item",
    "pipe_table",
    "pipe_table_header",
    "pipe_table_row",
    "minus_metadata",
    "plus_metadata",
    "link_reference_definition",
    "link_destination",
    "atx_h1_marker",
    "atx_h2_marker",
    "atx_h3_marker",
    "atx_h4_marker",
    "atx_h5_marker",
    "atx_h6_marker",
    "setext_h1_underline",
    "setext_h2_underline",
};

constexpr std::string_view type_name(Kind kind) noexcept { return kTypeNames[static_cast<std::size_t>(kind)]; }

Kind kind_of(std::string_view type) noexcept;

// Nodes that only group blocks. A walk enters them.
constexpr bool is_container(Kind kind) noexcept { return kind <= Kind::kError; }
constexpr bool is_heading(Kind kind) noexcept { return kind == Kind::kAtxHeading || kind == Kind::kSetextHeading; }
constexpr bool is_front_matter(Kind kind) noexcept {
  return kind == Kind::kMinusMetadata || kind == Kind::kPlusMetadata;
}

// Runs of inline Markdown, which are searched for links.
constexpr bool is_inline_run(Kind kind) noexcept { return kind == Kind::kInline || kind == Kind::kPipeTableCell; }
// Nodes that may hold such runs.
constexpr bool is_link_container(Kind kind) noexcept {
  return is_container(kind) || is_heading(kind) || kind == Kind::kParagraph ||
         (kind >= Kind::kBlockQuote && kind <= Kind::kPipeTableRow);
}

// The level that a heading's marker or underline gives it, 0 for any other node.
constexpr int level_of(Kind kind) noexcept {
  if (kind >= Kind::kAtxH1Marker && kind <= Kind::kAtxH6Marker) {
    return 1 + static_cast<int>(kind) - static_cast<int>(Kind::kAtxH1Marker);
  }
  return kind == Kind::kSetextH1Underline ? 1 : kind == Kind::kSetextH2Underline ? 2 : 0;
}

}  // namespace markdown::blocks

// The interpreter's own tables decide what a word character is, so that it is one exactly where `\w` of `re` takes it.
#include "python/api.h"
// After the interpreter's header.
#include "text/word.h"

namespace markdown::text {

bool is_wide_word(char32_t c) noexcept { return Py_UNICODE_ISALNUM(static_cast<Py_UCS4>(c)) != 0; }

}  // namespace markdown::text

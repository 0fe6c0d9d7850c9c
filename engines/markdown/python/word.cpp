// The interpreter's own tables decide what a word character is, so that the answer is always that of `\w` in `re`.
#include "python/api.h"
// After the interpreter's header.
#include "text/word.h"

namespace markdown::text {

bool is_wide_word(char32_t c) noexcept { return Py_UNICODE_ISALNUM(static_cast<Py_UCS4>(c)) != 0; }

}  // namespace markdown::text

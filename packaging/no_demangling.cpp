// What the C++ runtime prints before it ends a process names types in their mangled form, without the code that
// would make them readable: 100 KB in every wheel, for a message that no user of the engine should ever see.
#include <cstddef>

extern "C" char* __cxa_demangle(const char* /*name*/, char* /*buffer*/, std::size_t* /*length*/, int* status) {
  constexpr int kNotAMangledName = -2;
  if (status != nullptr) {
    *status = kNotAMangledName;
  }
  return nullptr;
}

// How a failure is reported on its way up: every function that gives up writes one line to the log.
#ifndef ZELMOP15_TOKEN_PKCS15_EXCEPTION_H
#define ZELMOP15_TOKEN_PKCS15_EXCEPTION_H

#include <cstdint>
#include <string_view>

extern "C" {
/// Log level of a code's line, indexed by the code's top two bits, its severity.
extern const uint32_t LogExceptionLevel[4];
}

namespace token {

/// The unit that a source file belongs to, as it stands in the log: the longest unit name that the file's name begins
/// with.
constexpr const char *unit_of(std::string_view file) {
    if (const size_t slash = file.rfind('/'); slash != std::string_view::npos)
        file.remove_prefix(slash + 1);
    for (const char *unit : {"pkcs15_scard", "pkcs15_inittoken"})
        if (file.starts_with(unit))
            return unit;
    return "pkcs15";
}

/// Reports the failure `code` of the calling function, with the caller's unit and line, and yields the code.
uint32_t raise(uint32_t code, const char *unit = unit_of(__builtin_FILE()), int line = __builtin_LINE());

}  // namespace token

#endif

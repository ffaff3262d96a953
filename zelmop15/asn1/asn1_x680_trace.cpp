// The trace: an indented listing of what the decoders read, on a stream of the caller's.
#include <cctype>
#include <cstdarg>
#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

#include "asn1/asn1_x680.h"

namespace {

constexpr uint32_t line_octets = 16;

bool silent(uint16_t level) {
    return asn1log == nullptr || level == 0;
}

void write_head() {
    const time_t now = std::time(nullptr);
    tm local{};
    localtime_r(&now, &local);
    std::fprintf(asn1log, "%04d:%04d %02i:%02i:%02i ", static_cast<int>(getpid()),
                 static_cast<int>(syscall(SYS_gettid)), local.tm_hour, local.tm_min, local.tm_sec);
}

}  // namespace

extern "C" {

FILE *asn1log = nullptr;

void asn1_LogStart(FILE *stream) {
    asn1log = stream;
}

void asn1_LogMessage(uint16_t level, const char *format, ...) {
    if (silent(level))
        return;
    write_head();
    std::fputs("ASN.1: ", asn1log);
    for (uint16_t i = 1; i < level; ++i)
        std::fputs(". ", asn1log);
    va_list arguments;
    va_start(arguments, format);
    std::vfprintf(asn1log, format, arguments);
    va_end(arguments);
    std::fflush(asn1log);
}

void asn1_LogObjId(uint16_t level, const asn1_ObjId *id) {
    if (silent(level))
        return;
    if (id->count != 0) {
        asn1_LogMessage(level, "  ");
        asn1_ObjId_fprint(id, asn1log);
    }
    std::fputc('\n', asn1log);
}

void asn1_LogByteArray(uint16_t level, const uint8_t *bytes, uint32_t count) {
    if (silent(level) || bytes == nullptr)
        return;
    uint32_t line = 0;
    for (; count >= line_octets; count -= line_octets, bytes += line_octets)
        asn1_LogByteArrayLine(level, line++, bytes, line_octets);
    asn1_LogByteArrayLine(level, line, bytes, count);
}

void asn1_LogByteArrayLine(uint16_t level, uint32_t line, const uint8_t *bytes, uint32_t count) {
    if (count < 1)
        return;
    asn1_LogMessage(level, "  0x%08X ", line * line_octets);
    for (uint32_t i = 0; i < count; ++i)
        std::fprintf(asn1log, "%02X ", bytes[i]);
    for (uint32_t i = count; i < line_octets; ++i)
        std::fputs("   ", asn1log);
    for (uint32_t i = 0; i < count; ++i)
        std::fputc(std::isprint(bytes[i]) != 0 ? bytes[i] : '.', asn1log);
    std::fputc('\n', asn1log);
}
}

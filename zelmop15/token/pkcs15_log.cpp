#include "token/pkcs15_log.h"

#include "zelmop15/pkcs15.h"

extern "C" {

LogHandle *pkcs15log = nullptr;
uint16_t p15asn1LogFlag = 0;

int pkcs15_LogInit(FILE *stream, uint32_t level) {
    if (pkcs15log != nullptr)
        return -1;
    if (level != 0)
        logOpen("PKCS#15", stream, level, LOG_DATA_OFFSET | LOG_DATA_NARROW | LOG_DATA_ASCII, &pkcs15log);
    return 0;
}

void pkcs15_LogMessage(uint32_t level, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    logMessageVAA(pkcs15log, level, format, arguments);
    va_end(arguments);
}

void pkcs15_LogClose(void) {
    p15asn1LogFlag = 0;
    logClose(pkcs15log);
    pkcs15log = nullptr;
}
}

// The log of the token layer; its calls are in pkcs15.h.
#ifndef ZELMOP15_TOKEN_PKCS15_LOG_H
#define ZELMOP15_TOKEN_PKCS15_LOG_H

#include "runtime/brovy_log.h"

extern "C" {

/// The log while one is open, otherwise null.
extern LogHandle *pkcs15log;
/// Depth at which decoders called by the token layer begin their trace; 0 for none. A host's switch, which the library
/// only clears.
extern uint16_t p15asn1LogFlag;
}

#endif

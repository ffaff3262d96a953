// The workers behind presenting, setting and changing secrets. `object` is what stands behind an AuthenticationType.
#ifndef ZELMOP15_TOKEN_PKCS15_SCARD_VERIFY_H
#define ZELMOP15_TOKEN_PKCS15_SCARD_VERIFY_H

#include "zelmop15/pkcs15.h"

extern "C" {

/// Presents a PIN, asking for it in the dialog when there is no value.
uint32_t pkcs15_ScVerifyPIN(CardHandle card, TokenContext *tokenContext, const PKCS15Object *object,
                            const uint8_t *value, uint32_t length, uint32_t flags, uint8_t *retries,
                            uint32_t *cardError);
/// Authenticates with a key's answer to the card's challenge; without a value asks whether the key stands authenticated
/// already.
uint32_t pkcs15_ScAuthenticateKey(CardHandle card, TokenContext *tokenContext, const PKCS15Object *object,
                                  const uint8_t *value, uint32_t length, uint32_t flags, uint8_t *retries,
                                  uint32_t *cardError);
/// Satisfies one condition; null is satisfied. `depth` is 0 for the condition of a rule.
uint32_t pkcs15_ScVerifySecurityCondition(CardHandle card, TokenContext *tokenContext,
                                          const SecurityCondition *condition, uint32_t flags, int32_t depth,
                                          uint8_t *retries, uint32_t *cardError);
/// Sets a PIN; the object must be one.
uint32_t pkcs15_ScInitAuthenticationPinObject(CardHandle card, TokenContext *tokenContext,
                                              const AuthenticationType *pAuthType, const uint8_t *newValue,
                                              uint32_t newLength, uint32_t *cardError);
/// Changes a PIN; the object must be one.
uint32_t pkcs15_ScSetAuthenticationPinObject(CardHandle card, TokenContext *tokenContext,
                                             const AuthenticationType *pAuthType, const uint8_t *oldValue,
                                             uint32_t oldLength, const uint8_t *newValue, uint32_t newLength,
                                             uint32_t flags, uint8_t *retries, uint32_t *cardError);
}

#endif

/* A host of the token library that leaves it to the library to ask for a PIN.
 *
 * usage: token_host READER
 * Verifies the token's first PIN and prints the code and the tries that are left.
 */
#include <stdio.h>
#include <zelmop15/pkcs15.h>

int main(int argc, char **argv) {
    CardHandle card = 0;
    TokenContext *token = NULL;
    AuthenticationType *pin = NULL;
    DIRRecord *application = pkcs15_GetDefaultDIR();
    uint32_t status = 0, cursor = 0, code, mode = ENUM_FIRST;
    code = zelmocrd_OpenCard(argc > 1 ? argv[1] : "", 0, &card);
    if (code == 0)
        code = pkcs15_ScAcquireTokenContext(card, application, &token, &status);
    while (code == 0 && (pin == NULL || (pin->tag & 0xFF) != P15_TAG_PIN)) {
        code = pkcs15_EnumerateAODF(token, mode, &cursor, &pin);
        mode = ENUM_NEXT;
    }
    if (code != 0)
        fprintf(stderr, "token_host: code 0x%08X, card status 0x%08X\n", (unsigned)code, (unsigned)status);
    else {
        uint8_t retries = 0xEE;
        uint32_t verified = pkcs15_ScVerify(card, token, pin, NULL, 0, 0, &retries, &status);
        printf("%08X %02X\n", (unsigned)verified, (unsigned)retries);
    }
    pkcs15_ScReleaseTokenContext(token);
    asn1_DIRRecord_free(application);
    zelmocrd_CloseCard(card);
    return code != 0;
}

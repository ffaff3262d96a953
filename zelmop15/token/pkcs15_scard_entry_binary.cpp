// Entries of a transparent directory file. The file was read when the reference was made, so the card is not touched.
#include "token/pkcs15_exception.h"
#include "token/pkcs15_log.h"
#include "token/pkcs15_scard_entry.h"
#include "token/pkcs15_types_functions.h"

extern "C" {

const P15DirectoryFileMethods p15BinaryDirectoryFileMethods = {pkcs15_ScGetBinaryDFEntry, nullptr,
                                                               pkcs15_ScReleaseBinaryDFEntry};

uint32_t pkcs15_ScGetBinaryDFEntry(CardHandle /*card*/, TokenContext * /*tokenContext*/, ObjectReference *reference,
                                   uint32_t /*flags*/, void **object, uint32_t * /*cardError*/) {
    const uint8_t *entry = reference->encodedEntry;
    *object = nullptr;
    token::P15TypesFunctions[reference->objectType].decoder(entry, entry + reference->encodedLength, 0, object,
                                                            p15asn1LogFlag);
    return *object != nullptr ? 0 : PKCS15_E_UNSUPPORTED;
}

uint32_t pkcs15_ScReleaseBinaryDFEntry(CardHandle /*card*/, TokenContext * /*tokenContext*/, ObjectReference *reference,
                                       uint32_t mode, void *object, uint32_t * /*cardError*/) {
    token::P15TypesFunctions[reference->objectType].free(object);
    return mode == RELEASE_DISCARD ? 0 : PKCS15_E_UNSUPPORTED;
}
}

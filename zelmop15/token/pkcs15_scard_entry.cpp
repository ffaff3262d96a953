// Entries of directory files, whatever the file's flavour: references, dispatch, and what both flavours ask first.
#include "token/pkcs15_scard_entry.h"

#include "token/pkcs15_card_call.h"
#include "token/pkcs15_exception.h"

using token::raise;

namespace token {

OwnedReference new_reference(uint32_t objectType, const P15DirectoryFileMethods &methods) {
    OwnedReference reference(allocate<ObjectReference>());
    if (reference == nullptr)
        return nullptr;
    reference->objectType = objectType;
    reference->getEntry = methods.getEntry;
    reference->updateEntry = methods.updateEntry;
    reference->releaseEntry = methods.releaseEntry;
    return reference;
}

uint32_t select_directory_file(CardHandle card, const TokenContext *tokenContext, uint32_t objectType,
                               FileInfo *fileInfo, uint32_t *cardError) {
    const Path *path = pkcs15_GetDirectoryFilePath(tokenContext->odfEntries, objectType);
    return path != nullptr ? select_path(card, tokenContext, *path, fileInfo, cardError) : PKCS15_E_FAILED;
}

uint32_t declared_file_type(const TokenContext *tokenContext) {
    return tokenContext->tokenInfo->recordInfo != nullptr ? tlv_record_file : transparent_file;
}

uint32_t physical_file_type(const TokenContext *tokenContext, const FileInfo &fileInfo) {
    constexpr uint32_t warning_level = 3;
    if (fileInfo.fileType != declared_file_type(tokenContext))
        pkcs15_LogMessage(warning_level,
                          "TokenInfo.recordInfo and physical file type do not match. "
                          "Using physical file type.");
    return fileInfo.fileType;
}

}  // namespace token

extern "C" {

uint32_t pkcs15_GetObjectType(const ObjectReference *reference) {
    return reference->objectType;
}

uint32_t pkcs15_GetObjectId(const ObjectReference *reference) {
    return reference->objectId;
}

int pkcs15_ObjectReferenceCmp(const ObjectReference *a, const ObjectReference *b) {
    return a->objectType == b->objectType && a->objectId == b->objectId ? 0 : 1;
}

void pkcs15_ObjectReferenceFree(ObjectReference *reference) {
    if (reference == nullptr)
        return;
    if (reference->getEntry == pkcs15_ScGetBinaryDFEntry)
        std::free(reference->encodedEntry);
    std::free(reference);
}

uint32_t pkcs15_ScGetDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference, uint32_t flags,
                             void **object, uint32_t *cardError) {
    if (reference == nullptr)
        return raise(PKCS15_E_INVALID_PARAMETER);
    if (reference->getEntry == nullptr)
        return raise(PKCS15_E_UNSUPPORTED);
    const uint32_t code = reference->getEntry(card, tokenContext, reference, flags, object, cardError);
    return code != 0 ? raise(code) : 0;
}

uint32_t pkcs15_ScUpdateDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference,
                                const void *object, uint32_t *cardError) {
    if (reference == nullptr)
        return raise(PKCS15_E_INVALID_PARAMETER);
    if (reference->releaseEntry == nullptr || reference->updateEntry == nullptr)
        return raise(PKCS15_E_UNSUPPORTED);
    const uint32_t code = reference->updateEntry(card, tokenContext, reference, object, cardError);
    return code != 0 ? raise(code) : 0;
}

uint32_t pkcs15_ScReleaseDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference, uint32_t mode,
                                 void *object, uint32_t *cardError) {
    if (reference == nullptr)
        return raise(PKCS15_E_INVALID_PARAMETER);
    if (reference->releaseEntry == nullptr)
        return raise(PKCS15_E_UNSUPPORTED);
    const uint32_t code = reference->releaseEntry(card, tokenContext, reference, mode, object, cardError);
    return code != 0 ? raise(code) : 0;
}
}

// Entries of directory files: the two flavours of operations, and what they share.
#ifndef ZELMOP15_TOKEN_PKCS15_SCARD_ENTRY_H
#define ZELMOP15_TOKEN_PKCS15_SCARD_ENTRY_H

#include "runtime/owned.h"
#include "zelmop15/pkcs15.h"

extern "C" {

/// The operations of a flavour of directory file.
struct P15DirectoryFileMethods {
    DFEntryGet getEntry;
    DFEntryUpdate updateEntry;  ///< Null where entries can only be read.
    DFEntryRelease releaseEntry;
};
/// Operations of a TLV record file.
extern const P15DirectoryFileMethods p15TLVDirectoryFileMethods;
/// Operations of a transparent file.
extern const P15DirectoryFileMethods p15BinaryDirectoryFileMethods;

/// Reads the record, from the cache when `flags` allow it, and decodes its object. A record that contradicts its own
/// header or the id asked for ends the process.
uint32_t pkcs15_ScGetTLVDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference, uint32_t flags,
                                void **object, uint32_t *cardError);
/// Writes the object over the record. An object that cannot be encoded ends the process.
uint32_t pkcs15_ScUpdateTLVDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference,
                                   const void *object, uint32_t *cardError);
/// Commits, erases or undoes the entry, closes it and releases the object.
uint32_t pkcs15_ScReleaseTLVDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference,
                                    uint32_t mode, void *object, uint32_t *cardError);
/// Decodes the object that the reference keeps encoded.
uint32_t pkcs15_ScGetBinaryDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference,
                                   uint32_t flags, void **object, uint32_t *cardError);
/// Releases the object; there is nothing to commit or erase.
uint32_t pkcs15_ScReleaseBinaryDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference,
                                       uint32_t mode, void *object, uint32_t *cardError);
}

namespace token {

using OwnedReference = Owned<ObjectReference, pkcs15_ObjectReferenceFree>;

/// New reference to an entry of a file of this flavour; null when memory is short.
OwnedReference new_reference(uint32_t objectType, const P15DirectoryFileMethods &methods);
/// Selects the directory file of an object type. PKCS15_E_FAILED when the token has none. Writes no line to the log.
uint32_t select_directory_file(CardHandle card, const TokenContext *tokenContext, uint32_t objectType,
                               FileInfo *fileInfo, uint32_t *cardError);
/// The kind of directory files that the token declares.
uint32_t declared_file_type(const TokenContext *tokenContext);
/// The kind that a directory file has; when the token declares another, the log says so.
uint32_t physical_file_type(const TokenContext *tokenContext, const FileInfo &fileInfo);

}  // namespace token

#endif

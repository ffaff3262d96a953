/**
 * @file pkcs15.h
 * @brief Access to the PKCS#15 token on a smart card.
 *
 * Conventions of this header:
 *  1. Results. Calls return 0 for success, or a code whose top two bits are its severity: 0x2020xxxx information,
 *     0xA020xxxx warning, 0xE020xxxx error. Nothing is thrown.
 *  2. `card` is the handle of a card that the host has opened with the card service (zelmocrd.h). The library neither
 *     opens nor closes a card.
 *  3. `cardError` is the place that receives the raw result of the last call to the card service. It is written when a
 *     card call was made and left as it was when none was; the normal end of a record file sets it to 0. It may be
 * null.
 *  4. Ownership. What a call stores through a pointer is the caller's, to be released with the call that the
 *     description names. What a getter returns is borrowed from its argument. A failed call leaves nothing to release
 *     unless its description says otherwise.
 *  5. Null. Unless a description says otherwise, pointer arguments must not be null.
 *  6. Threads. A TokenContext and its card belong to one thread at a time; nothing is locked. Contexts share nothing
 *     but the log, which is set up before concurrent use.
 *  7. The library opens no card transaction: a host that shares the card with other processes holds its own
 *     transaction around each call.
 *  8. Paths are runs of 2-byte file identifiers, lengths count octets.
 *
 * The order of calls: pkcs15_Initialize(); pkcs15_ScEnumerateDirectories() or pkcs15_GetDefaultDIR();
 * pkcs15_ScAcquireTokenContext(); any object calls; pkcs15_ScReleaseTokenContext(); pkcs15_Finalize().
 */
#ifndef ZELMOP15_PKCS15_H
#define ZELMOP15_PKCS15_H

#include <stdint.h>
#include <stdio.h>

#include "zelmocrd/zelmocrd.h"
#include "zelmop15/asn1_pkcs15.h"
#include "zelmop15/pkcs15_types.h"

#ifdef __cplusplus
extern "C" {
#endif
#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

/* ---- codes ------------------------------------------------------------------------------------------------------ */

#define PKCS15_S_END_OF_ENUMERATION     0x20200001u /**< An enumeration has no further item; not an error. */
#define PKCS15_W_CANCELLED_BY_USER      0xA0200001u /**< The user closed the PIN dialog. */
#define PKCS15_E_UNSUPPORTED            0xE0200001u /**< The operation does not apply to this file, entry or state. */
#define PKCS15_E_NO_MEMORY              0xE0200002u /**< An allocation failed. */
#define PKCS15_E_INVALID_PARAMETER      0xE0200003u /**< Null or contradictory argument, wrong cursor state. */
#define PKCS15_E_BUFFER_TOO_SMALL       0xE0200004u /**< The buffer cannot hold the cached record. */
#define PKCS15_E_NO_CARD_SPACE          0xE0200005u /**< The card has no room, or the object does not fit a record. */
#define PKCS15_E_FAILED                 0xE0200006u /**< The requested thing could not be had. */
#define PKCS15_E_TIMEOUT                0xE0200007u /**< The reader's time ran out. */
#define PKCS15_E_CANCELLED              0xE0200008u /**< The reader's operation was cancelled. */
#define PKCS15_E_OBJECT_NOT_FOUND       0xE0200009u /**< No object has this identifier. */
#define PKCS15_E_PIN_REQUIRED           0xE020000Au /**< A PIN is needed but the caller forbade the dialog. */
#define PKCS15_E_INVALID_TOKEN          0xE0200010u /**< The card carries no usable token. */
#define PKCS15_E_DEVICE_ERROR           0xE0200011u /**< Any other failure of card or reader. */
#define PKCS15_E_NO_CARD                0xE0200012u /**< No card in the reader. */
#define PKCS15_E_CARD_REMOVED           0xE0200013u /**< The card was taken away. */
#define PKCS15_E_VERIFICATION_FAILED    0xE0200020u /**< The card rejected a verification. */
#define PKCS15_E_NOT_INITIALIZED        0xE0200021u /**< The PIN is not marked as initialized. */
#define PKCS15_E_AUTH_BLOCKED           0xE0200022u /**< The PIN or key is blocked. */
#define PKCS15_E_CREDENTIAL_REJECTED    0xE0200023u /**< A remembered credential was refused. */
#define PKCS15_E_PIN_LENGTH             0xE0200024u /**< New PIN outside its length bounds. */
#define PKCS15_E_PIN_FORMAT             0xE0200025u /**< New PIN cannot be put into its format. */
#define PKCS15_E_SECURITY_STATUS        0xE0200026u /**< The card demands an authentication first. */
#define PKCS15_E_REFERENCE_DATA_INVALID 0xE0200027u /**< The card's PIN or key is invalidated. */

/** Modes of an enumeration. */
enum { ENUM_FIRST = 0, ENUM_NEXT = 1, ENUM_CLOSE = 2 };
/** Flags of reads: refill the directory cache while walking; take an entry from the cache. */
enum { FLAG_REFRESH_CACHE = 2, FLAG_USE_CACHE = 4 };
/** Modes of pkcs15_ScReleaseDFEntry(): write the object; erase the record; undo all writes. */
enum { RELEASE_COMMIT = 1, RELEASE_ERASE = 2, RELEASE_DISCARD = 3 };
/** The alternatives of AuthenticationType that can be presented, set and changed. */
enum { P15_TAG_AUTHKEY = 1, P15_TAG_PIN = 16 };
/**
 * Flags of verifications: never open a dialog; remember the value after success; the right file is selected already;
 * only ask for the tries left, presenting nothing.
 */
enum { P15_VERIFY_NO_PROMPT = 1, P15_VERIFY_CACHE = 8, P15_VERIFY_NO_SELECT = 16, P15_VERIFY_QUERY = 32 };
/** States of an entry in a record file. */
enum { ENTRY_CLOSED = 0, ENTRY_ALLOCATED = 1, ENTRY_READ = 2, ENTRY_WRITTEN = 3 };
/** Sizes of the directory cache and of a record in a directory file, header included. */
enum { DIRECTORY_CACHE_SLOTS = 30, PKCS15_MAX_RECORD = 234 };

/* ---- records ---------------------------------------------------------------------------------------------------- */

/** One record of a directory file, as it stands on the card. */
typedef struct DirectoryCacheSlot {
    uint32_t age;        /**< Recent use; the lower, the sooner replaced. */
    uint32_t objectType; /**< Key, first part: 0 to 8. */
    uint8_t objectId;    /**< Key, second part: the record id. */
    uint8_t data[235];   /**< The record with its two header bytes. */
    uint32_t length;     /**< Octets in data; 0 marks an empty slot. */
} DirectoryCacheSlot;

/** Cache of directory records; one block per token context. */
typedef struct DirectoryCache {
    uint32_t writes; /**< Stores. */
    uint32_t reads;  /**< Lookups. */
    uint32_t hits;   /**< Lookups that delivered a record. */
    DirectoryCacheSlot slots[DIRECTORY_CACHE_SLOTS];
} DirectoryCache;

/** An opened token. All members are owned by the context and are to be read only. */
typedef struct TokenContext {
    DIRRecord *dirRecord;     /**< Clone of the host's record, completed with the paths of its two files. */
    TokenInfo *tokenInfo;     /**< Read once at acquire. */
    List *odfEntries;         /**< Of PKCS15Objects, in file order. */
    List *authObjects;        /**< Of P15AuthenticationTypeInfo. */
    List *credentialCache;    /**< Credentials remembered while the context lives. */
    DirectoryCache *dirCache; /**< Records of directory files. */
} TokenContext;

/** An authentication object with the secret key that it stands for. */
typedef struct P15AuthenticationTypeInfo {
    AuthenticationType *authObject; /**< The decoded entry. */
    SecretKeyType *keyObject;       /**< For an authentication key the key itself, otherwise null. */
} P15AuthenticationTypeInfo;

typedef struct ObjectReference ObjectReference;

/** Reads the object of an entry. */
typedef uint32_t (*DFEntryGet)(CardHandle card, TokenContext *tokenContext, ObjectReference *reference, uint32_t flags,
                               void **object, uint32_t *cardError);
/** Writes the object of an entry. */
typedef uint32_t (*DFEntryUpdate)(CardHandle card, TokenContext *tokenContext, ObjectReference *reference,
                                  const void *object, uint32_t *cardError);
/** Ends the object's time in memory. */
typedef uint32_t (*DFEntryRelease)(CardHandle card, TokenContext *tokenContext, ObjectReference *reference,
                                   uint32_t mode, void *object, uint32_t *cardError);

/** Handle of one entry of a directory file. It must not outlive its TokenContext. */
struct ObjectReference {
    uint32_t objectType;         /**< Object type, 0 to 8. */
    uint8_t objectId;            /**< Record file: the record id. Transparent file: objects that still followed. */
    DFEntryGet getEntry;         /**< Operation of the file's flavour. */
    DFEntryUpdate updateEntry;   /**< Null for a transparent file, which can only be read. */
    DFEntryRelease releaseEntry; /**< Operation of the file's flavour. */
    union {
        DirectoryCacheSlot *cacheSlot; /**< Record file: the record's slot, borrowed; may be null. */
        uint8_t *encodedEntry;         /**< Transparent file: the object's encoding, owned. */
    };
    union {
        uint32_t entryState;    /**< Record file: ENTRY_CLOSED to ENTRY_WRITTEN. */
        uint32_t encodedLength; /**< Transparent file: octets of encodedEntry. */
    };
    uint32_t savedLength;                   /**< Octets in savedRecord. */
    uint8_t savedRecord[PKCS15_MAX_RECORD]; /**< The record as it was before this reference changed it. */
};

/** A PIN format that stands alone: what its pointers name lies in the record itself. */
typedef struct PinFormatAttributes {
    ScardPinFormat format;   /**< As scard_FormatPin() takes it. */
    uint32_t maxLengthValue; /**< What format.maxLength points at. */
    uint8_t padCharValue;    /**< What format.padChar points at. */
} PinFormatAttributes;

/* ---- frame ------------------------------------------------------------------------------------------------------ */

/** Does nothing and returns 0; for hosts that want a first call. */
uint32_t pkcs15_Initialize(void);
/** Does nothing; for hosts that want a last call. */
void pkcs15_Finalize(void);
/** Library code for a raw code of card or reader; logs "Device error" for anything but 0. */
uint32_t pkcs15_SCardException(uint32_t code);
/** Releases a raw block that the library allocated; null is a no-op. */
void pkcs15_FreeData(void *data);
/**
 * Selects a file of the token. A relative path is reached from the application's path; an absolute one goes out with
 * the application's AID; a null path selects the application. `fileInfo` may be null. Writes no "Exception" line.
 */
uint32_t pkcs15_ScSelectFile(CardHandle card, const TokenContext *tokenContext, const uint8_t *path,
                             uint32_t pathLength, FileInfo *fileInfo, uint32_t *cardError);

/* ---- log -------------------------------------------------------------------------------------------------------- */

/**
 * Opens the process-wide log on a stream that stays the host's. Levels: 1 the log's own lines, 2 errors, 3 warnings,
 * 4 information, 5 trace, 6 debug; a message passes when its level is not above `level`. Returns -1 when a log is open
 * already, otherwise 0 (also for level 0 or a null stream, which leave logging off).
 */
int pkcs15_LogInit(FILE *stream, uint32_t level);
/** Writes one line to the log; without an open log, or above its level, nothing is formatted or written. */
void pkcs15_LogMessage(uint32_t level, const char *format, ...)
#ifdef __GNUC__
    __attribute__((format(printf, 2, 3)))
#endif
    ;
/** Closes the log, not its stream; a second call is harmless. */
void pkcs15_LogClose(void);

/* ---- token context ---------------------------------------------------------------------------------------------- */

/**
 * Opens the token that `dirRecord` describes: reads its TokenInfo file, its object directory and all authentication
 * objects. `dirRecord` stays the caller's. On success stores a context, to be released with
 * pkcs15_ScReleaseTokenContext(). PKCS15_E_INVALID_TOKEN when the card carries no usable token. When a directory file
 * cannot be selected the place may have been written all the same: it must not be used after a failure.
 */
uint32_t pkcs15_ScAcquireTokenContext(CardHandle card, const DIRRecord *dirRecord, TokenContext **tokenContext,
                                      uint32_t *cardError);
/** Releases a context; null is a no-op. The card is not touched: what was verified stays verified. */
void pkcs15_ScReleaseTokenContext(TokenContext *tokenContext);
/** The context's DIRRecord, borrowed. */
DIRRecord *pkcs15_ScGetDIRRecord(const TokenContext *tokenContext);
/** The context's TokenInfo, borrowed. */
TokenInfo *pkcs15_ScGetTokenInfo(const TokenContext *tokenContext);

/* ---- directories ------------------------------------------------------------------------------------------------ */

/** Fresh copy of the built-in record for cards without EF.DIR, or null. Release: asn1_DIRRecord_free(). */
DIRRecord *pkcs15_GetDefaultDIR(void);
/**
 * Walks EF.DIR. `cursor` is a place that holds 0 before ENUM_FIRST and is left to the library until it is 0 again.
 * `aidFilter` is an array of octet strings that ends with one whose data is null: only records with one of these AIDs
 * are returned, so a null or empty filter returns none. On 0 a new record is stored, to be released with
 * asn1_DIRRecord_free(). PKCS15_S_END_OF_ENUMERATION at the end, and when there is no EF.DIR. After the end and after
 * any failure the cursor is closed; otherwise ENUM_CLOSE closes it.
 */
uint32_t pkcs15_ScEnumerateDirectories(CardHandle card, uint32_t mode, const asn1_OctetString *aidFilter,
                                       uintptr_t *cursor, DIRRecord **dirRecord, uint32_t *cardError);
/** Reads the object directory afresh into a new List of PKCS15Objects. Release: List_free(), asn1_PKCS15Objects_free.
 */
uint32_t pkcs15_ScReadODF(CardHandle card, const TokenContext *tokenContext, List **list, uint32_t *cardError);
/**
 * Decodes a run of values into a new list. A zero octet, or the end, ends the run. Returns the position behind the last
 * value; or null, with `*list` null, after a failure.
 */
const uint8_t *pkcs15_DirectoryFile_d(const uint8_t *start, const uint8_t *end, asn1_element_d decoder,
                                      asn1_element_free release, List **list, uint16_t logFlag);
/**
 * Encodes the values of a list one after the other into `buffer`, with no terminating zero. A null buffer measures.
 * Total size in octets; 0 for a null list or when a value cannot be encoded.
 */
uint32_t pkcs15_DirectoryFile_e(uint8_t *buffer, const List *list, asn1_element_e encoder);
/** Path of the directory file for an object type, from the first entry of that type; borrowed, or null. */
Path *pkcs15_GetDirectoryFilePath(const List *odfEntries, uint32_t objectType);
/** Path of one entry of the object directory; borrowed, or null when the entry holds something else. */
Path *pkcs15_GetPKCS15ObjectsPath(const PKCS15Objects *entry);
/**
 * Copies a cached record. `*length` is the capacity on entry and the record's length on return. PKCS15_E_FAILED for a
 * miss, PKCS15_E_BUFFER_TOO_SMALL when the record does not fit. A null cache is a miss.
 */
uint32_t pkcs15_DirCacheGet(DirectoryCache *cache, const ObjectReference *reference, uint32_t flags, uint8_t *buffer,
                            uint32_t *length);

/* ---- entries ---------------------------------------------------------------------------------------------------- */

/** Decodes the entry's object (PrivateKeyType and so on, by object type); it lives until pkcs15_ScReleaseDFEntry(). */
uint32_t pkcs15_ScGetDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference, uint32_t flags,
                             void **object, uint32_t *cardError);
/**
 * Writes the object to the card now, without ending the entry. It must never be called for an entry of a transparent
 * file, which has no such operation; the readonly bit of the token's flags tells.
 */
uint32_t pkcs15_ScUpdateDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference,
                                const void *object, uint32_t *cardError);
/** Commits, erases or undoes the entry. The object is released in every case, whatever the result. */
uint32_t pkcs15_ScReleaseDFEntry(CardHandle card, TokenContext *tokenContext, ObjectReference *reference, uint32_t mode,
                                 void *object, uint32_t *cardError);
/**
 * Finds room for a new object and makes an empty one, to be filled in and committed. `objectType` and `selector`: 0, 16
 * RSA private key; 1, 16 RSA public key; 3, 4 secret key; 4, 16 X.509 certificate; 7, 16 opaque data object. Any other
 * pair is PKCS15_E_INVALID_PARAMETER. When the object cannot be made the reference has been stored all the same and is
 * the caller's to release.
 */
uint32_t pkcs15_ScAllocDFEntry(CardHandle card, TokenContext *tokenContext, uint32_t objectType, uint32_t selector,
                               ObjectReference **reference, void **object, uint32_t *cardError);

/* ---- objects ---------------------------------------------------------------------------------------------------- */

/**
 * Walks the objects of a type. `cursor` as in pkcs15_ScEnumerateDirectories(). On 0 a new reference is stored, to be
 * released with pkcs15_ObjectReferenceFree(); the place may be null at ENUM_CLOSE. A record file is to be walked with
 * FLAG_REFRESH_CACHE; nothing else may be selected on the card between two steps.
 */
uint32_t pkcs15_ScEnumerateObjects(CardHandle card, TokenContext *tokenContext, uint32_t objectType, uint32_t mode,
                                   uint32_t flags, uintptr_t *cursor, ObjectReference **reference, uint32_t *cardError);
/**
 * Finds the first object of a type whose iD equals `identifier`. The place is written only on a match.
 * PKCS15_E_OBJECT_NOT_FOUND without one; data objects have no identifier and are never found.
 */
uint32_t pkcs15_ScFindObject(CardHandle card, TokenContext *tokenContext, uint32_t objectType,
                             const asn1_OctetString *identifier, uint32_t flags, ObjectReference **reference,
                             uint32_t *cardError);
/** 0 when both references have the same object type and id, otherwise 1. */
int pkcs15_ObjectReferenceCmp(const ObjectReference *a, const ObjectReference *b);
/** Releases a reference; null is a no-op. */
void pkcs15_ObjectReferenceFree(ObjectReference *reference);
/** Object type of a reference, 0 to 8. */
uint32_t pkcs15_GetObjectType(const ObjectReference *reference);
/** Object id of a reference. */
uint32_t pkcs15_GetObjectId(const ObjectReference *reference);
/** Path of an indirect value, borrowed; otherwise null. */
Path *pkcs15_GetIndirectValuePath(const ObjectValue *value);

/**
 * Chooses the algorithm of the token that can do what is needed and the least beyond it. `keyLength` may be null.
 * Writes the card's algorithm reference, 0x0C when none fits, and the borrowed `reference` of the chosen entry or null.
 */
void pkcs15_ScSelectPrivateKeyAlgorithm(CardHandle card, const TokenContext *tokenContext, uint32_t algorithm,
                                        uint8_t needSignature, uint8_t needDecipher, const uint32_t *keyLength,
                                        uint8_t *chosenAlgorithm, Reference **chosenReference);
/**
 * The card's algorithm reference for a key, 0x0C when the key names none. `supportedAlgorithms`, `keyInfo` and
 * `algorithmInfo` may be null. After a miss `algorithmInfo` holds the last entry looked at: only the result counts.
 */
uint8_t pkcs15_GetPrivateKeyAlgorithm(const List *supportedAlgorithms, const KeyInfo *keyInfo,
                                      AlgorithmInfo **algorithmInfo);
/**
 * Access rules of an object as a new List of AccessControlRule, or null where it has none. An object that only has an
 * authId gets one rule that demands it for all access. Release: List_free() with asn1_AccessControlRule_free.
 */
uint32_t pkcs15_GetObjectACRs(const CommonObjectAttributes *commonAttributes, List **rules);
/**
 * Common attributes of a decoded object (PrivateKeyType to AuthenticationType), borrowed. Null for an alternative that
 * is only carried as bytes.
 */
CommonObjectAttributes *pkcs15_GetCommonObjectAttributes(const void *object);
/** Copies a label as a terminated text of at most size - 1 octets; size is at least 1. Returns buffer. */
char *pkcs15_Label2szString(const Label *label, char *buffer, uint32_t size);

/**
 * Reads a certificate into a new block, to be released with pkcs15_FreeData(). `flags` as in pkcs15_ScGetDFEntry().
 * Access rules are satisfied in silence, with remembered PINs and what stands verified: a certificate behind a PIN that
 * is neither gives PKCS15_E_PIN_REQUIRED. PKCS15_E_UNSUPPORTED for a certificate that is no file's content. The
 * reference stays the caller's, and its entry is closed in any case.
 */
uint32_t pkcs15_ScReadCertificate(CardHandle card, TokenContext *tokenContext, ObjectReference *reference,
                                  uint32_t flags, uint8_t **data, uint32_t *length, uint32_t *cardError);

/* ---- authentication --------------------------------------------------------------------------------------------- */

/*
 * Values that are presented or set are octets as a person or host has them, without a terminator: the library puts a
 * PIN into the card's form. A value is given when its pointer is not null. `retries` may be null; of a PIN it receives
 * the tries left when the card tells them, and 255 after a key's success, which has no counter to tell.
 */

/**
 * Walks the token's authentication objects in file order. `*cursor` is the index to go on from and is moved on; at
 * ENUM_FIRST its content does not matter. The object is borrowed from the context. PKCS15_S_END_OF_ENUMERATION, with
 * the cursor left alone, behind the last; ENUM_CLOSE is not needed and does nothing.
 */
uint32_t pkcs15_EnumerateAODF(const TokenContext *tokenContext, uint32_t mode, uint32_t *cursor,
                              AuthenticationType **authObject);
/**
 * The first PIN or authentication key with this authId and, for a key, the secret key behind it; borrowed. Null when
 * there is none, or `authId` is null.
 */
P15AuthenticationTypeInfo *pkcs15_GetAuthenticationTypeInfo(const TokenContext *tokenContext,
                                                            const asn1_OctetString *authId);
/** The same, the authentication object alone. */
AuthenticationType *pkcs15_GetAuthenticationType(const TokenContext *tokenContext, const asn1_OctetString *authId);

/**
 * Puts a PIN into the form in which the card keeps it. `*length` is the capacity on entry, the octets written on
 * return. Returns `buffer`, or null for attributes without the pad octet they ask for, a PIN that cannot be put into
 * the form, or too small a buffer. Attributes with a pinType above 4 end the process.
 */
uint8_t *pkcs15_TransformPIN(const uint8_t *pin, uint32_t pinLength, const PinAttributes *attributes, uint8_t *buffer,
                             uint32_t *length);
/**
 * Fills a format record for scard_FormatPin() that does not depend on the attributes. PKCS15_E_FAILED, with the lengths
 * filled in, for attributes without the pad octet they ask for and for a pinType above 4.
 */
uint32_t pkcs15_SetPinFormatAttributes(const PinAttributes *attributes, PinFormatAttributes *record);

/**
 * Presents a PIN or an authentication key. Without a value a remembered one is presented; without that, a PIN is asked
 * for in the dialog, and a key has to stand authenticated already. One call is one try on the card at most.
 *
 * PKCS15_E_VERIFICATION_FAILED: the value is wrong; PKCS15_E_CREDENTIAL_REJECTED: the remembered one is, and is
 * forgotten now, or the key does not stand authenticated; PKCS15_E_AUTH_BLOCKED; PKCS15_E_NOT_INITIALIZED: the PIN has
 * never been set; PKCS15_E_PIN_REQUIRED: there is no value, and P15_VERIFY_NO_PROMPT; PKCS15_W_CANCELLED_BY_USER;
 * PKCS15_E_FAILED: no dialog to be had; PKCS15_E_UNSUPPORTED: the object lacks a needed part, or its key is not known.
 *
 * A PIN that does not fit its attributes is presented as it stands, cut to 64 octets. With P15_VERIFY_CACHE a PIN that
 * was given, but not one from the dialog, is remembered until it fails, pkcs15_ScUnVerify(), or the context's end; with
 * PKCS15_E_NO_MEMORY the card may have accepted it all the same.
 */
uint32_t pkcs15_ScVerify(CardHandle card, TokenContext *tokenContext, const AuthenticationType *authObject,
                         const uint8_t *value, uint32_t length, uint32_t flags, uint8_t *retries, uint32_t *cardError);
/**
 * Takes back what a PIN or key has proven to the card, and forgets a remembered value. The result is that of selecting
 * the object's file; whether the card did as told is in `*cardError` alone.
 */
uint32_t pkcs15_ScUnVerify(CardHandle card, TokenContext *tokenContext, const AuthenticationType *authObject,
                           uint32_t *cardError);
/**
 * Satisfies the access rules of a private object for the wanted kinds of access (bit 0 read, 1 update, 2 execute; up to
 * eight). The rule that allows them and the least beyond is taken; access that no rule mentions is free. Needs a single
 * PIN or key, or one of several (`or`); PKCS15_E_UNSUPPORTED for conditions that need more, for an `or` inside an `or`,
 * and for an authId that no object has. The file selected on the card stays selected.
 */
uint32_t pkcs15_ScAuthenticateObject(CardHandle card, TokenContext *tokenContext,
                                     const CommonObjectAttributes *commonAttributes, const asn1_BitString *access,
                                     uint32_t flags, uint8_t *retries, uint32_t *cardError);
/**
 * Sets a PIN without the old one, where the card allows. The value goes to the card as it is given and must fit the
 * PIN's attributes: PKCS15_E_PIN_LENGTH, PKCS15_E_PIN_FORMAT. A remembered value is forgotten. Writes `*cardError` on
 * failure only.
 */
uint32_t pkcs15_ScInitAuthenticationObject(CardHandle card, TokenContext *tokenContext,
                                           const AuthenticationType *authObject, const uint8_t *newValue,
                                           uint32_t newLength, uint32_t *cardError);
/**
 * Changes a PIN or key after presenting the old value as pkcs15_ScVerify() does with `flags`. A new PIN must fit the
 * PIN's attributes, which is found out before the old one is presented: PKCS15_E_PIN_LENGTH, PKCS15_E_PIN_FORMAT. A
 * remembered PIN is replaced on success and forgotten on failure. A key that stands authenticated needs no old value.
 */
uint32_t pkcs15_ScSetAuthenticationObject(CardHandle card, TokenContext *tokenContext,
                                          const AuthenticationType *authObject, const uint8_t *oldValue,
                                          uint32_t oldLength, const uint8_t *newValue, uint32_t newLength,
                                          uint32_t flags, uint8_t *retries, uint32_t *cardError);

/* ---- personalisation -------------------------------------------------------------------------------------------- */

/** How a serial number is given: as 16 hexadecimal digits, which become an octet 16 (hexadecimal) and eight more. */
enum { P15_SERIAL_NUMBER_HEX = 32 };

/**
 * Turns a card into a token by a script, which only runs when it is genuine: signed for this version of the library, by
 * somebody whose certificate the built-in root has signed. The files are "<prefix>InitToken<model>.cpd" and ".sig",
 * with the card's model in hexadecimal, four columns wide; a null prefix is an empty one. A card in one of the phases
 * 16, 32 and 41 of its life is erased first. The script leaves a known PIN, which is replaced at once.
 *
 * `pin` becomes the PIN that authorises changes; with null it is blocked for good, which tries the card until it
 * answers that the PIN is blocked. `secondPin` and `key` become PIN 2 and key 8, unless they are null. `serialNumber`
 * has 16 hexadecimal digits and `label` 32 octets filled up with blanks; null leaves what the script has made. Values
 * go to the card as they are.
 *
 * The run holds a transaction and ends with a reset of the card, also after a failure. Until the card is erased a
 * failure leaves it as it was; after that it is left half made.
 */
uint32_t pkcs15_ScInitToken(CardHandle card, const char *prefix, const uint8_t *pin, uint32_t pinLength,
                            const uint8_t *secondPin, uint32_t secondPinLength, const uint8_t *key, uint32_t keyLength,
                            const char *serialNumber, const uint8_t *label, uint32_t *cardError);
/**
 * Replaces label and serial number in the context and in the card's TokenInfo file, which is overwritten from its
 * start. `label` has 32 octets of UTF-8, filled up with blanks, without a terminator; null leaves the label. A null
 * `serialNumber` leaves the serial number. With P15_SERIAL_NUMBER_HEX in `flags` another length than 16 is
 * PKCS15_E_INVALID_PARAMETER, while no character is refused. A failure may leave the context with values that the card
 * does not hold, and with none where memory was short.
 */
uint32_t pkcs15_ScSetTokenInfo(CardHandle card, TokenContext *tokenContext, const uint8_t *label,
                               const uint8_t *serialNumber, uint32_t serialNumberLength, uint8_t flags,
                               uint32_t *cardError);

/* ---- construction ----------------------------------------------------------------------------------------------- */

/** New indirect value. The path is cloned; index and length are left out when both are 0. Null on failure. */
ObjectValue *pkcs15_CreateObjectValue(const asn1_OctetString *path, uint32_t index, uint32_t length);
/** New opaque data object with an empty path, or null. Release: asn1_DataType_free(). */
DataType *pkcs15_CreateDataType(void);
/** New X.509 certificate object with an empty path, or null. Release: asn1_CertificateType_free(). */
CertificateType *pkcs15_CreateX509CertificateType(void);
/** New secret key object; `keyType` 2 (DES) or 4 (3DES), null for any other. Release: asn1_SecretKeyType_free(). */
SecretKeyType *pkcs15_CreateSecretKey(uint32_t keyType);
/** New RSA private key object with an empty path, or null. Release: asn1_PrivateKeyType_free(). */
PrivateKeyType *pkcs15_CreatePrivateRSAKey(void);
/** New RSA public key object with an empty path, or null; `native` is 0. Release: asn1_PublicKeyType_free(). */
PublicKeyType *pkcs15_CreatePublicRSAKey(void);

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif
#ifdef __cplusplus
}
#endif

#endif

/**
 * @file zelmocrd.h
 * @brief The card service: opens cards and runs ISO/IEC 7816-4 operations on them.
 *
 * Conventions of this header:
 *  1. Results are unsigned 32-bit codes, 0 for success. 0x8010xxxx is a PC/SC code passed on unchanged; 0xE011xxxx is
 *     the card's status word xxxx, an error; 0xA011xxxx is the status word xxxx, a warning.
 *  2. A length pointer holds the buffer's capacity on entry and the octets delivered on return.
 *  3. Paths are runs of 2-byte file identifiers. A path that begins with 3F 00 is taken from the card's root.
 *  4. Buffers belong to the caller; the service keeps none of them. What it returns by pointer is its own.
 *  5. A handle is used by one thread at a time. Different handles may be used by different threads.
 *  6. Arguments named `reserved` are passed as 0.
 */
#ifndef ZELMOCRD_ZELMOCRD_H
#define ZELMOCRD_ZELMOCRD_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Handle of an open card; 0 is never one. */
typedef uint32_t CardHandle;

/** What a selection tells of a file. */
typedef struct FileInfo {
    uint32_t
        fileType; /**< 0 unusable, 1 transparent, 2 and 3 linear fixed, 4 linear variable records, 5 TLV records. */
    uint32_t fileSize;   /**< Octets of a transparent file as the FCP claims; 0 when it does not say. */
    uint32_t fileId;     /**< File identifier; 0 when the FCP does not say. */
    uint32_t recordSize; /**< Greatest record length; 0 when the FCP does not say. */
    uint32_t records;    /**< Number of records; 0 when the FCP does not say. */
    uint32_t lifeCycle;  /**< Life cycle status byte of the file (ISO/IEC 7816-4); 0 when the FCP does not say. */
} FileInfo;

/** What scard_GetCardInfo() tells of a card. */
typedef struct CardInfo {
    uint32_t model;          /**< As scard_GetCardModel(). */
    uint32_t atrLength;      /**< Octets in atr. */
    uint8_t atr[36];         /**< Answer to reset. */
    uint32_t serialLength;   /**< Octets in serial. */
    uint8_t serial[32];      /**< Chip serial number. */
    uint32_t freeMemory;     /**< Octets free for files; 0 when the card does not say. */
    uint32_t extendedLength; /**< 1 when commands may use extended length. */
    uint32_t chaining;       /**< 1 when the card announces command chaining. */
    uint32_t lifeCycle;      /**< 16 delivered, 32 initialised, 41 personalised, 52 operational. */
} CardInfo;

/** Key length bounds of one of the card's algorithms. */
typedef struct ExtendedAlgorithmInfo {
    uint32_t algorithm;    /**< Algorithm reference. */
    uint32_t minKeyLength; /**< Smallest key length in bits. */
    uint32_t maxKeyLength; /**< Largest key length in bits. */
} ExtendedAlgorithmInfo;

/** How a PIN is put into the card's stored form. */
typedef struct PinFormat {
    uint32_t pinType;      /**< 0 BCD, 1 ASCII numeric, 2 UTF-8, 3 half-nibble BCD, 4 ISO 9564-1, 82 UTF-8 folded. */
    uint32_t minLength;    /**< Least number of characters. */
    uint32_t storedLength; /**< Octets on the card. */
    const uint32_t *maxLength; /**< Greatest number of characters, or null. */
    const uint8_t *padChar;    /**< The pad byte, or null for none. */
} PinFormat;

/** Handler of a script instruction. */
typedef uint32_t (*cpd_Handler)(CardHandle card, const uint8_t *data, uint32_t dataLength);

/* ---- selection -------------------------------------------------------------------------------------------------- */

/**
 * Selects a file. With an AID the application comes first and a relative path is taken inside it; without one the path
 * is taken from the root. With an AID and no path it selects the application. `aid`, `path` and `fileInfo` may be null.
 */
uint32_t scard_SelectFile(CardHandle card, const uint8_t *aid, uint32_t aidLength, const uint8_t *path,
                          uint32_t pathLength, FileInfo *fileInfo);
/** One SELECT with `mode` as P1: 8 path from the root, 0 file identifier (with no data the root). */
uint32_t scardcmd_SelectFile(CardHandle card, uint32_t mode, const uint8_t *data, uint32_t dataLength,
                             FileInfo *fileInfo);

/* ---- reading and writing ---------------------------------------------------------------------------------------- */

/**
 * Reads a transparent file from `offset` to its end or until `*length` octets are delivered. `fileReference` is null
 * for the file last selected, or points at one short file identifier. A file shorter than the capacity is no failure.
 */
uint32_t scard_ReadEFBinary(CardHandle card, const uint8_t *fileReference, uint32_t offset, uint8_t *buffer,
                            uint32_t *length, uint32_t reserved);
/** Total length of the DER value at the start of the selected file. */
uint32_t scard_GetDERContentLength(CardHandle card, uint32_t reserved, uint32_t *length);
/** Reads the certificate in the selected file from `offset`; `kind` is 3. */
uint32_t scard_ReadEFCertificate(CardHandle card, uint32_t reserved, uint32_t offset, uint8_t *buffer, uint32_t *length,
                                 uint32_t reserved2, uint32_t kind);
/** Overwrites part of a transparent file of the current DF; `fileId` points at its two identifier octets. */
uint32_t scard_UpdateEF(CardHandle card, const uint8_t *fileId, uint32_t offset, const uint8_t *data,
                        uint32_t dataLength);
/**
 * Reads one record of the selected file. Mode 0: the first record whose first octet is `recordId`; mode 2: the next
 * record. 0xE0116A83 when there is none. A capacity below the record's size delivers its first octets.
 */
uint32_t scardcmd_ReadRecord(CardHandle card, uint32_t recordId, uint32_t reserved, uint32_t mode, uint32_t reserved2,
                             uint8_t *buffer, uint32_t *length);
/** Overwrites one record. Mode 0: the first record whose first octet is `recordId`; mode 4: record number, from 1. */
uint32_t scardcmd_UpdateRecord(CardHandle card, uint32_t recordId, uint32_t reserved, uint32_t mode,
                               const uint8_t *data, uint32_t dataLength, uint32_t reserved2);
/** Adds a record at the end of the selected file. */
uint32_t scardcmd_AppendRecord(CardHandle card, uint32_t reserved, const uint8_t *data, uint32_t dataLength,
                               uint32_t reserved2);

/* ---- authentication --------------------------------------------------------------------------------------------- */

/** VERIFY. `retries` (or null) receives the tries left when the card tells them. An empty PIN is refused unsent. */
uint32_t scardcmd_VerifyPIN(CardHandle card, uint32_t reference, const uint8_t *data, uint32_t dataLength,
                            uint32_t *retries, uint32_t reserved);
/** Asks for the tries left without presenting a PIN. */
uint32_t scardcmd_QueryRetryCounter(CardHandle card, uint32_t reference, uint32_t *retries, uint32_t reserved);
/** CHANGE REFERENCE DATA. Mode 0: old and new value; mode 1: the new value alone, old null and 0. */
uint32_t scardcmd_ChangeReferenceData(CardHandle card, uint32_t mode, uint32_t reference, const uint8_t *oldData,
                                      uint32_t oldLength, const uint8_t *newData, uint32_t newLength,
                                      uint32_t reserved);
/** RESET RETRY COUNTER with authorising data and a new value. */
uint32_t scardcmd_ResetRetryCounter(CardHandle card, uint32_t reserved, uint32_t reference, const uint8_t *authData,
                                    uint32_t authLength, const uint8_t *newData, uint32_t newLength,
                                    uint32_t reserved2);
/** Replaces a key value. */
uint32_t scardcmd_ChangeKeyData(CardHandle card, uint32_t reserved, uint32_t keyReference, const uint8_t *data,
                                uint32_t dataLength, uint32_t reserved2);
/** EXTERNAL AUTHENTICATE. */
uint32_t scardcmd_ExternalAuthenticate(CardHandle card, uint32_t keyReference, const uint8_t *data, uint32_t dataLength,
                                       uint32_t reserved);
/** GET DATA. */
uint32_t scardcmd_GetData(CardHandle card, uint32_t tag, uint8_t *buffer, uint32_t *length);
/** Clears the verified status on the card. Mode 128: of the current application; 0: of all. */
uint32_t scardcmd_ResetSecurityStatus(CardHandle card, uint32_t mode);
/** Puts a PIN into the card's stored form; pure computation. */
uint32_t scard_FormatPin(const uint8_t *pin, uint32_t pinLength, const PinFormat *format, uint8_t *buffer,
                         uint32_t *length);

/* ---- card information and services ------------------------------------------------------------------------------ */

/** Fills the record. */
uint32_t scard_GetCardInfo(CardHandle card, CardInfo *cardInfo);
/** The card's model number; 0 when it is not known. */
uint32_t scard_GetCardModel(CardHandle card);
/** Key length bounds of an algorithm reference, or null when there are no bounds to check. */
const ExtendedAlgorithmInfo *scard_GetExtendedAlgorithmInfo(uint8_t algorithmReference);
/** Fills the buffer with random octets from the card. */
uint32_t scard_GetRandom(CardHandle card, uint8_t *buffer, uint32_t count);
/** The card's life cycle administration: takes a delivered card into its initialised phase. */
uint32_t scard_LifeCycleAdministration(CardHandle card);
/** Erases the card's file system. */
uint32_t scardcmd_EraseFiles(CardHandle card, uint32_t reserved);
/** Resets the card. */
uint32_t scard_ResetCard(CardHandle card);
/** Takes the card exclusively. */
uint32_t scard_BeginTransaction(CardHandle card);
/** Ends the transaction. */
uint32_t scard_EndTransaction(CardHandle card, uint32_t reserved);

/* ---- script engine ---------------------------------------------------------------------------------------------- */

/** Runs a personalisation script; `handlerBytes` and `handlers` are parallel arrays of `handlerCount` elements. */
uint32_t cpd_Execute(CardHandle card, const uint8_t *script, uint32_t scriptLength, uint32_t handlerCount,
                     const uint8_t *handlerBytes, const cpd_Handler *handlers, uint32_t reserved);
/** Handler for the instruction that resets the card inside a transaction. */
uint32_t cpd_ResetTransactedCard(CardHandle card, const uint8_t *data, uint32_t dataLength);

#ifdef __cplusplus
}
#endif

#endif

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
 *  7. Every function that takes a handle gives 0x80100003 for one that is not open. A null pointer where null is not
 *     allowed, a number that its command cannot carry, and data too long for the card give 0x80100004, with nothing
 *     sent. A failed allocation gives 0x80100006, an answer of fewer than two octets 0x80100069, a card that otherwise
 *     does not keep to the protocol 0x8010002F. Nothing is thrown.
 *  8. After a failure a length pointer holds the octets delivered up to it, commonly 0.
 */
#ifndef ZELMOCRD_ZELMOCRD_H
#define ZELMOCRD_ZELMOCRD_H

#include <stddef.h>
#include <stdint.h>

#ifdef __GNUC__
#pragma GCC visibility push(default)
#endif
#ifdef __cplusplus
extern "C" {
#endif

/** Handle of an open card; 0 is never one. */
typedef uint32_t CardHandle;

/** What a selection tells of a file. */
typedef struct FileInfo {
    uint32_t fileType;   /**< 0 unusable, 1 transparent, 2 and 3 linear fixed, 4 linear variable, 5 TLV records. */
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
    uint32_t lifeCycle;      /**< 16 delivered, 32 initialised, 41 personalised, 52 operational; others may exist. */
} CardInfo;

/** Key length bounds of one of the card's algorithms. */
typedef struct ExtendedAlgorithmInfo {
    uint32_t algorithm;    /**< Algorithm reference. */
    uint32_t minKeyLength; /**< Smallest key length in bits. */
    uint32_t maxKeyLength; /**< Largest key length in bits. */
} ExtendedAlgorithmInfo;

/**
 * How a PIN is put into the card's stored form (PinAttributes of PKCS#15). Lengths of the PIN count characters, which
 * are code points in the UTF-8 forms; the stored length counts octets.
 */
typedef struct ScardPinFormat {
    /**
     * 0 BCD; 1 ASCII digits; 2 UTF-8 that does not tell case, folded to upper case; 3 half-nibble BCD; 4 ISO 9564-1;
     * 82 UTF-8 as it stands, which tells case.
     */
    uint32_t pinType;
    uint32_t minLength;        /**< Least number of characters. */
    uint32_t storedLength;     /**< Octets on the card, or 0 for any number. */
    const uint32_t *maxLength; /**< Greatest number of characters, or null for no bound. */
    const uint8_t *padChar;    /**< The octet that fills the value up to the stored length, or null for none. */
} ScardPinFormat;

/** Handler of a script instruction: gets the instruction's data, valid during the call; 0 lets the script go on. */
typedef uint32_t (*cpd_Handler)(CardHandle card, const uint8_t *data, uint32_t dataLength);

/* ---- readers and handles ------------------------------------------------------------------------------------------
 */

/** Receives one reader name, which is valid during the call; `context` is the one that was passed in. */
typedef void (*zelmocrd_ReaderCallback)(const char *readerName, void *context);
/**
 * Calls `callback` for each reader: first those of the PC/SC service, in its order, then the virtual cards (files
 * NAME.card) in the directory that the environment variable ZELMOCRD_CARDS names, by name. Without any the result says
 * why: 0x8010001D when the PC/SC service does not run, 0 when it has no readers. A directory that cannot be read gives
 * 0x8010002E.
 */
uint32_t zelmocrd_ListReaders(zelmocrd_ReaderCallback callback, void *context);
/**
 * Stores 1 in `*present` when there is a card in the reader, else 0. `readerName` is as for zelmocrd_OpenCard(), with
 * the same failures.
 */
uint32_t zelmocrd_HasCard(const char *readerName, uint32_t *present);
/**
 * Opens the card in a reader and stores its handle in `*card`, 0 after a failure; zelmocrd_CloseCard() gives it back.
 * `readerName` is the name of a reader of the PC/SC service, or "virtual:FILE" for the virtual card in an image file.
 * Instead of a listed name its beginning will do, when no other name begins so, or its number in the list, from 0.
 * `flags` is 0, or ZELMOCRD_EXCLUSIVE to keep everybody else from the card until it is closed.
 *
 * 0x80100009: there is no such reader or file; 0x8010000C: no card in the reader; 0x8010000B: somebody else has taken
 * the card; 0x8010000D: the file is no image; 0x8010001D: the PC/SC service does not run.
 *
 * A card in a reader may be shared by programs: what one selects, another finds selected, unless each keeps a
 * transaction around what belongs together. A card to which a PIN or key has been proven through this handle is reset
 * when the handle is closed. The image of a virtual card may be opened more than once, but only one of the openings can
 * write to it: the others' writes are answered 6581 from then on. Presenting a PIN or the answer of a key is a write,
 * since it costs a try.
 */
#define ZELMOCRD_EXCLUSIVE 1u
uint32_t zelmocrd_OpenCard(const char *readerName, uint32_t flags, CardHandle *card);
/**
 * More about why the last zelmocrd_OpenCard() of this thread failed, such as the place of the error in an image; empty
 * when there is no more to say. Valid until the thread's next zelmocrd_OpenCard().
 */
const char *zelmocrd_OpenErrorText(void);
/** Closes a card. Its handle must not be used again. */
uint32_t zelmocrd_CloseCard(CardHandle card);
/** The answer to reset, up to 33 octets; 0x80100008, with the length needed, when the buffer is too small. */
uint32_t zelmocrd_GetATR(CardHandle card, uint8_t *buffer, uint32_t *length);

/* ---- waiting for cards --------------------------------------------------------------------------------------------
 */

/** Handle of a monitor, which tells of readers and cards that come and leave; 0 is never one. */
typedef uint32_t zelmocrd_Monitor;
/** What has happened in a reader. */
typedef enum zelmocrd_EventKind {
    ZELMOCRD_READER_ADDED = 1,
    ZELMOCRD_READER_REMOVED = 2,
    ZELMOCRD_CARD_INSERTED = 3,
    ZELMOCRD_CARD_REMOVED = 4
} zelmocrd_EventKind;
/** One event. */
typedef struct zelmocrd_Event {
    uint32_t kind;    /**< A zelmocrd_EventKind. */
    char reader[256]; /**< Name of the reader, cut if it is longer. */
} zelmocrd_Event;
/** Makes a monitor; zelmocrd_CloseMonitor() gives it back. */
uint32_t zelmocrd_OpenMonitor(zelmocrd_Monitor *monitor);
/**
 * Waits for the monitor's next event, up to `milliseconds` or, for 0xFFFFFFFF, without end. The first events tell what
 * there is: each reader as added, each card in one as inserted. Readers are those of zelmocrd_ListReaders(); a PC/SC
 * service that does not run has none, and is waited for. A card that left and another one that came tell of both,
 * unless the service itself has missed it. 0x8010000A: nothing has happened; 0x80100002: cancelled. One thread waits at
 * a time.
 */
uint32_t zelmocrd_NextEvent(zelmocrd_Monitor monitor, uint32_t milliseconds, zelmocrd_Event *event);
/** Has the wait that is going on, or else the next one, end within a fraction of a second. Any thread may call it. */
uint32_t zelmocrd_CancelMonitor(zelmocrd_Monitor monitor);
/** Ends a monitor on which nobody waits. Its handle must not be used again. */
uint32_t zelmocrd_CloseMonitor(zelmocrd_Monitor monitor);

/* ---- watching a card ----------------------------------------------------------------------------------------------
 */

/**
 * Receives each command as it was sent and its answer with the status word; the answer's length is 0 when none came.
 * The pointers are valid during the call, in which no function of this header may be called for the same card. PINs and
 * keys stand in the commands as they are: who writes them anywhere has to mask the data of VERIFY (20), CHANGE
 * REFERENCE DATA (24), RESET RETRY COUNTER (2C), EXTERNAL AUTHENTICATE (82), PUT KEY (class 80, D8) and CREATE SECRET
 * (class 80, E0). Masking all but the commands that are known to be harmless is safer.
 * A personalisation script that stops is told of as a command of no octets, whose answer is the octet offset in the
 * script of the instruction that failed, four octets, big-endian.
 */
typedef void (*zelmocrd_TraceCallback)(const uint8_t *command, uint32_t commandLength, const uint8_t *answer,
                                       uint32_t answerLength, double milliseconds, void *context);
/** Sets the card's trace callback, or ends the trace with null. `context` is passed on and stays the caller's. */
uint32_t zelmocrd_SetTrace(CardHandle card, zelmocrd_TraceCallback callback, void *context);

/** What has gone over a card's wire since it was opened or its counters were reset. */
typedef struct zelmocrd_Counters {
    uint64_t commands;       /**< Commands sent, repetitions and GET RESPONSE included. */
    uint64_t octetsSent;     /**< Octets of the commands, headers included. */
    uint64_t octetsReceived; /**< Octets of the answers, status words included. */
    uint64_t commandsSpared; /**< Commands not sent, since the card would have done or said nothing new. */
} zelmocrd_Counters;
/** Copies the card's counters, and sets them to 0 when `reset` is not 0. */
uint32_t zelmocrd_GetCounters(CardHandle card, zelmocrd_Counters *counters, uint32_t reset);

/**
 * What a result code of this library means, in a few English words such as "file not found"; never null. The text is
 * constant.
 */
const char *zelmocrd_StatusText(uint32_t code);

/* ---- selection -------------------------------------------------------------------------------------------------- */

/**
 * Selects a file. A path that begins with 3F 00 is taken from the card's root, with or without an AID. Any other path
 * is taken inside the application `aid`, which is selected first, or from the root when there is no AID. An AID alone
 * selects the application, neither of them the root. `aid`, `path` and `fileInfo` may be null; what the card does not
 * tell stays 0 in `*fileInfo`.
 */
uint32_t scard_SelectFile(CardHandle card, const uint8_t *aid, uint32_t aidLength, const uint8_t *path,
                          uint32_t pathLength, FileInfo *fileInfo);
/**
 * One SELECT with `mode` as P1: 8 path from the root, 0 file identifier (with no data the root), 4 AID, 9 path from the
 * current DF. `fileInfo` may be null.
 */
uint32_t scardcmd_SelectFile(CardHandle card, uint32_t mode, const uint8_t *data, uint32_t dataLength,
                             FileInfo *fileInfo);

/* ---- reading and writing ---------------------------------------------------------------------------------------- */

/**
 * Reads a transparent file from `offset` to its end or until `*length` octets are delivered, with as many commands as
 * that takes. `fileReference` is null for the file last selected, or points at one short file identifier (1 to 30),
 * whose file becomes the current one; the offset is then at most 255. A file shorter than the capacity is no failure;
 * an offset behind the file's end is 0xE0116B00.
 */
uint32_t scard_ReadEFBinary(CardHandle card, const uint8_t *fileReference, uint32_t offset, uint8_t *buffer,
                            uint32_t *length, uint32_t reserved);
/**
 * Total length, header included, of the DER value at the start of the selected file. 0x80100011 when there is none,
 * when its length is indefinite, or when it is longer than a file can be (16 MB).
 */
uint32_t scard_GetDERContentLength(CardHandle card, uint32_t reserved, uint32_t *length);
/** Reads the certificate in the selected file, as scard_ReadEFBinary() does; `kind` is 3. */
uint32_t scard_ReadEFCertificate(CardHandle card, uint32_t reserved, uint32_t offset, uint8_t *buffer, uint32_t *length,
                                 uint32_t reserved2, uint32_t kind);
/**
 * Overwrites part of a transparent file of the current DF; `fileId` points at its two identifier octets. A failure may
 * leave the first octets written.
 */
uint32_t scard_UpdateEF(CardHandle card, const uint8_t *fileId, uint32_t offset, const uint8_t *data,
                        uint32_t dataLength);
/**
 * Reads one record of the selected file. Mode 0: the first record whose first octet is `recordId`; mode 2 with record
 * id 0: the next record; mode 4: record number, from 1. 0xE0116A83 when there is none. A capacity below the record's
 * size delivers its first octets, without error.
 */
uint32_t scardcmd_ReadRecord(CardHandle card, uint32_t recordId, uint32_t reserved, uint32_t mode, uint32_t reserved2,
                             uint8_t *buffer, uint32_t *length);
/**
 * Overwrites one record, of which nothing remains. Mode 0: the first record whose first octet is `recordId`; mode 4:
 * record number, from 1. Data must not be empty.
 */
uint32_t scardcmd_UpdateRecord(CardHandle card, uint32_t recordId, uint32_t reserved, uint32_t mode,
                               const uint8_t *data, uint32_t dataLength, uint32_t reserved2);
/** Adds a record at the end of the selected file. Data must not be empty. */
uint32_t scardcmd_AppendRecord(CardHandle card, uint32_t reserved, const uint8_t *data, uint32_t dataLength,
                               uint32_t reserved2);

/* ---- authentication --------------------------------------------------------------------------------------------- */

/**
 * VERIFY. `reference` is one octet. `*retries` (null: not wanted) receives the tries left when the card tells them,
 * which is after a wrong PIN and for a blocked one (0), and stays as it is otherwise. An empty PIN is 0x80100004,
 * unsent.
 */
uint32_t scardcmd_VerifyPIN(CardHandle card, uint32_t reference, const uint8_t *data, uint32_t dataLength,
                            uint8_t *retries, uint32_t reserved);
/**
 * Asks for the tries left without presenting a PIN. `*retries` receives them, or 255 when the PIN stands verified and
 * the card therefore does not tell. A blocked PIN is 0xE0116983 with `*retries` 0.
 */
uint32_t scardcmd_QueryRetryCounter(CardHandle card, uint32_t reference, uint8_t *retries, uint32_t reserved);
/**
 * CHANGE REFERENCE DATA. Mode 0: old and new value, of which a wrong old one costs a try (0xA0116300); mode 1: the new
 * value alone, old null and 0, which the card takes when its condition for that is met. No value may be empty:
 * 0x80100004.
 */
uint32_t scardcmd_ChangeReferenceData(CardHandle card, uint32_t mode, uint32_t reference, const uint8_t *oldData,
                                      uint32_t oldLength, const uint8_t *newData, uint32_t newLength,
                                      uint32_t reserved);
/**
 * RESET RETRY COUNTER of a PIN with authorising data and a new value, each of which may be absent (null and 0). Wrong
 * authorising data costs a try of the unblocking PIN, not of this one.
 */
uint32_t scardcmd_ResetRetryCounter(CardHandle card, uint32_t reserved, uint32_t reference, const uint8_t *authData,
                                    uint32_t authLength, const uint8_t *newData, uint32_t newLength,
                                    uint32_t reserved2);
/**
 * EXTERNAL AUTHENTICATE with a key. `data` is the answer to the challenge that scard_GetRandom() has fetched before:
 * for a challenge of 16 octets the AES encipherment of it under the key, for one of 8 that by triple DES. A challenge
 * serves one attempt; without one the card gives 0xE0116985. An empty answer is 0x80100004, unsent.
 */
uint32_t scardcmd_ExternalAuthenticate(CardHandle card, uint32_t keyReference, const uint8_t *data, uint32_t dataLength,
                                       uint32_t reserved);
/** Replaces the value of a key, which must not be empty: PUT KEY, a command of our own cards (80 D8 00). */
uint32_t scardcmd_ChangeKeyData(CardHandle card, uint32_t reserved, uint32_t keyReference, const uint8_t *data,
                                uint32_t dataLength, uint32_t reserved2);
/**
 * Takes back what stands verified, PINs and keys: VERIFY with P1 = FF and the mode as P2. Mode 128: what was proven in
 * the current application; 0: everything. Another mode is 0x80100004.
 */
uint32_t scardcmd_ResetSecurityStatus(CardHandle card, uint32_t mode);
/**
 * GET DATA with a tag of up to two octets. 0x80100008, with the length needed and nothing delivered, when the buffer is
 * too small. Tag 0x84 lists the keys that stand authenticated, one octet each: the reference without its top bit.
 */
uint32_t scardcmd_GetData(CardHandle card, uint32_t tag, uint8_t *buffer, uint32_t *length);

/**
 * Puts a PIN into the card's stored form; no card is involved. `*length` is the buffer's capacity on entry and the
 * octets delivered on return.
 *
 * BCD holds two digits in an octet, the first in the high nibble; behind an odd number of digits the last nibble is
 * that of the pad octet, or F without one. Half-nibble BCD holds a digit in the low nibble of each octet, F in the high
 * one. ISO 9564-1 is the PIN block of format 2: the nibble 2, the number of digits in a nibble, 4 to 12 digits, and F
 * up to 8 octets. UTF-8 of type 2 is folded to upper case with Unicode's full mapping, whatever the locale: a sharp s
 * becomes SS. The bounds count the characters before that. With a pad octet the value is filled up to the stored
 * length.
 *
 * 0x80100004: null arguments, an empty PIN, a type that is none of the six, or a PIN that the format cannot express: a
 * character that is no digit, malformed UTF-8, a number of characters outside the bounds, or more octets than are
 * stored. 0x80100008: the buffer is too small; `*length` says what it takes, and the buffer is as it was.
 */
uint32_t scard_FormatPin(const uint8_t *pin, uint32_t pinLength, const ScardPinFormat *format, uint8_t *buffer,
                         uint32_t *length);

/* ---- card information and services ------------------------------------------------------------------------------ */

/** Fills the record. What the card does not tell is 0 there; only a card that does not answer is a failure. */
uint32_t scard_GetCardInfo(CardHandle card, CardInfo *cardInfo);
/** The card's model number; 0 when it is not known. */
uint32_t scard_GetCardModel(CardHandle card);
/** Key length bounds of an algorithm reference, or null when there are no bounds to check. The record is constant. */
const ExtendedAlgorithmInfo *scard_GetExtendedAlgorithmInfo(uint8_t algorithmReference);
/** Fills the buffer with random octets from the card. After a failure its content is not defined. */
uint32_t scard_GetRandom(CardHandle card, uint8_t *buffer, uint32_t count);
/** Takes a delivered card (life cycle 16) into its initialised phase (32): ENTER PHASE, a command of our own cards. */
uint32_t scard_LifeCycleAdministration(CardHandle card);
/**
 * Erases the card's files, PINs and keys: ERASE, a command of our own cards, which take it in the phases 32 and 41. The
 * card is in phase 32 then.
 */
uint32_t scardcmd_EraseFiles(CardHandle card, uint32_t reserved);
/** Resets the card: the root is selected and nothing stands verified. A virtual card shows what others have changed. */
uint32_t scard_ResetCard(CardHandle card);
/**
 * Takes the card exclusively, until as many calls of scard_EndTransaction() or the card's closing; a reset does not end
 * it. Meanwhile commands, resets and transactions by way of any other handle, in any process, wait. The embedded
 * virtual card lets them wait for 10 seconds at most, then gives 0x8010000B; at once to the thread that has taken the
 * card, which would wait for itself. A card that somebody else has reset since is taken all the same: nothing is
 * selected or proven then. The same holds for an image that somebody else has changed: it is read anew.
 *
 * Within a transaction, as on a card that is open exclusively, selections and readings are not sent to the card that
 * would change and tell nothing: zelmocrd_Counters::commandsSpared counts them.
 */
uint32_t scard_BeginTransaction(CardHandle card);
/** Ends the transaction; 0x80100016 when none is open. */
uint32_t scard_EndTransaction(CardHandle card, uint32_t reserved);

/* ---- personalisation scripts ------------------------------------------------------------------------------------- */

/**
 * Runs a personalisation script (docs/script-format.md). `handlerBytes` and `handlers` are parallel arrays of
 * `handlerCount` elements: instructions of 80 to FF are handed to the handler of their byte. The whole script is looked
 * at before the card is: 0x80100011 for one that is cut short or not well-formed, 0x80100022 for one of another version
 * or with an instruction that nobody knows. What the card or a handler refuses is the result, and ends the script; an
 * answer without error that the script does not want is 0x8010002F. The card's trace then tells where.
 */
uint32_t cpd_Execute(CardHandle card, const uint8_t *script, uint32_t scriptLength, uint32_t handlerCount,
                     const uint8_t *handlerBytes, const cpd_Handler *handlers, uint32_t reserved);
/**
 * Handler for the instruction that resets the card inside a transaction, which goes on. `data` is the path from the
 * root, without 3F 00, of the file that is selected then; none leaves the root selected.
 */
uint32_t cpd_ResetTransactedCard(CardHandle card, const uint8_t *data, uint32_t dataLength);

#ifdef __cplusplus
}
#endif
#ifdef __GNUC__
#pragma GCC visibility pop
#endif

#endif

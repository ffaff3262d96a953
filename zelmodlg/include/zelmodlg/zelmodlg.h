/**
 * @file zelmodlg.h
 * @brief The dialogs: asks the person in front of the machine for a PIN, a choice or a nod.
 *
 * Hosts commonly do not link this library: the token library opens it by name, "libzelmodlg.so", when it needs a
 * dialog. docs/dialog.md tells which program shows the dialogs.
 *
 * Conventions of this header:
 *  1. Every argument is one word as wide as a pointer; a pointer is passed as its value. Results are 32 bits.
 *  2. Texts are UTF-8 and end with a zero octet. They may come from a card: what is not UTF-8, and control characters
 *     other than line feeds, are shown as U+FFFD. A null text is an empty one. Texts longer than some 900 octets are
 *     cut at the end.
 *  3. Buffers belong to the caller and are written to only on success; they are to be overwritten by their owner. A
 *     capacity counts octets without the final zero octet, so a buffer is one octet larger than its capacity.
 *  4. `owner` is the window that the dialog belongs to; no dialog here has one, so it is not used. Arguments named
 *     `reserved` are not used either. Both are passed as 0.
 *  5. Every call blocks its thread until the person has answered. Calls of different threads wait for each other.
 *     Nothing is thrown, and nothing but the dialog is written anywhere.
 *  6. While a dialog is open, SIGINT, SIGTERM, SIGHUP and SIGQUIT (unless ignored), and SIGALRM, SIGUSR1 and SIGUSR2
 *     (where they would end the process) end it as cancelled; when the terminal and the dispositions are as they were
 *     before, the signal is raised again. An interrupt that was typed at the terminal is the answer "cancel", also to a
 *     host that ignores interrupts, and is not raised again.
 */
#ifndef ZELMODLG_ZELMODLG_H
#define ZELMODLG_ZELMODLG_H

#include <stdint.h>

/** Done: what was asked for is in the caller's buffers. */
#define ZELMODLG_OK 0u
/** The person cancelled the dialog. */
#define ZELMODLG_CANCELLED 0x8010006Eu
/** No dialog could be shown, its answers were of no use three times, or an argument is wrong. */
#define ZELMODLG_FAILED 120u

/** scdlg_MessageBox(): the person has closed the message. */
#define ZELMODLG_BOX_OK 1u
/** scdlg_MessageBox(): the person has cancelled the message. */
#define ZELMODLG_BOX_CANCELLED 2u
/** scdlg_MessageBox(): the message could not be shown. */
#define ZELMODLG_BOX_FAILED 3u

#ifdef __GNUC__
#pragma GCC visibility push(default)
#endif
#ifdef __cplusplus
extern "C" {
#endif

/**
 * Asks for a PIN, which is not shown while it is typed.
 *
 * @param prompt    const char *: what the dialog says, such as "Please enter your PIN for Card."
 * @param buffer    char *: receives the PIN as it was typed, in UTF-8, with a zero octet at the end; `capacity` + 1
 *                  octets. Not null.
 * @param capacity  the most octets that the PIN may have, at least 1; more than 1000 are never stored.
 * @return ZELMODLG_OK, ZELMODLG_CANCELLED or ZELMODLG_FAILED. An empty PIN and one that is too long are not accepted:
 * the dialog says so and asks again, twice.
 */
uint32_t scdlg_GetPIN(uintptr_t owner, uintptr_t prompt, uintptr_t buffer, uintptr_t capacity, uintptr_t reserved1,
                      uintptr_t reserved2);

/**
 * Asks for the present PIN and for a new one, the new one twice.
 *
 * @param prompt       const char *: what the dialogs say, such as "Change the PIN of Card."
 * @param oldPin       char *: receives the present PIN, as in scdlg_GetPIN(); null: the present PIN is not asked for.
 * @param oldCapacity  the most octets of the present PIN; at least 1 unless `oldPin` is null.
 * @param newPin       char *: receives the new PIN. Not null.
 * @param newCapacity  the most octets of the new PIN, at least 1.
 * @param minLength    the least number of octets of the new PIN; 0 and 1 are the same.
 * @return as scdlg_GetPIN(). Two different new PINs are asked for again like one that is too long.
 */
uint32_t scdlg_ChangePIN(uintptr_t owner, uintptr_t prompt, uintptr_t oldPin, uintptr_t oldCapacity, uintptr_t newPin,
                         uintptr_t newCapacity, uintptr_t minLength, uintptr_t reserved1, uintptr_t reserved2);

/**
 * Shows a message until the person closes it.
 *
 * @param text     const char *: the message.
 * @param caption  const char *: the dialog's title, which also stands above the text.
 * @return ZELMODLG_BOX_OK, ZELMODLG_BOX_CANCELLED or ZELMODLG_BOX_FAILED.
 */
uint32_t scdlg_MessageBox(uintptr_t owner, uintptr_t text, uintptr_t caption);

/**
 * Asks the person to insert a card and waits for the word that it is done. Whether it is, the caller has to find out.
 *
 * @param prompt  const char *: what the dialog says.
 * @param reader  const char *: name of the reader, shown below; null for any.
 * @return ZELMODLG_OK, ZELMODLG_CANCELLED or ZELMODLG_FAILED.
 */
uint32_t scdlg_InsertCard(uintptr_t owner, uintptr_t prompt, uintptr_t reader, uintptr_t reserved1,
                          uintptr_t reserved2);

/**
 * Lets the person choose one of several readers, by its number in a list on the controlling terminal.
 *
 * @param prompt    const char *: what stands above the list.
 * @param names     const char *const *: the readers' names, `count` of them. Not null.
 * @param count     how many there are, 1 to 99. One alone is chosen without a question.
 * @param selected  uint32_t *: receives the place of the chosen one, counted from 0. Not null.
 * @return ZELMODLG_OK, ZELMODLG_CANCELLED or ZELMODLG_FAILED; also ZELMODLG_FAILED without a controlling terminal.
 */
uint32_t scdlg_SelectSlot(uintptr_t owner, uintptr_t prompt, uintptr_t names, uintptr_t count, uintptr_t selected);

/**
 * Tells the person to use the reader's own keys: writes the text to the controlling terminal and returns at once, since
 * the PIN is typed elsewhere.
 *
 * @param text  const char *: such as "Please enter your PIN on the reader."
 * @return ZELMODLG_OK; ZELMODLG_FAILED without a controlling terminal.
 */
uint32_t scdlg_PinPadMessage(uintptr_t owner, uintptr_t text, uintptr_t reserved1, uintptr_t reserved2);

#ifdef __cplusplus
}
#endif
#ifdef __GNUC__
#pragma GCC visibility pop
#endif

#endif

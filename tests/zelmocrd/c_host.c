/* A host in C: opens a card, reads a file, closes the card. Each failure names its phase. */
#include <stdio.h>
#include <string.h>

#include "zelmocrd/zelmocrd.h"

static int failures;

static void check(const char *phase, uint32_t code, int condition) {
    if (code == 0 && condition)
        return;
    fprintf(stderr, "%s: 0x%08X (%s)\n", phase, (unsigned)code, zelmocrd_StatusText(code));
    failures++;
}

static void count_reader(const char *reader_name, void *context) {
    *(unsigned *)context += reader_name != NULL;
}

static void count_command(const uint8_t *command, uint32_t command_length, const uint8_t *answer,
                          uint32_t answer_length, double milliseconds, void *context) {
    *(unsigned *)context +=
        command != NULL && command_length >= 4 && answer != NULL && answer_length >= 2 && milliseconds >= 0;
}

static void read_token_info(CardHandle card) {
    static const uint8_t path[] = {0x3F, 0x00, 0x50, 0x15, 0x50, 0x32};
    static uint8_t content[32768];
    uint32_t code, length = sizeof content, der_length = 0;
    FileInfo info;
    memset(&info, 0xFF, sizeof info);
    code = scard_SelectFile(card, NULL, 0, path, sizeof path, &info);
    check("select", code, info.fileType == 1);
    code = scard_GetDERContentLength(card, 0, &der_length);
    check("length", code, der_length > 2);
    code = scard_ReadEFBinary(card, NULL, 0, content, &length, 0);
    check("read", code, content[0] == 0x30 && length >= der_length);
}

int main(int argc, char **argv) {
    char reader[4096];
    CardHandle card = 0;
    uint32_t code;
    unsigned readers = 0, commands = 0;
    zelmocrd_Counters counters;
    if (argc < 2)
        return 2;
    snprintf(reader, sizeof reader, "virtual:%s", argv[1]);
    code = zelmocrd_ListReaders(count_reader, &readers);
    check("readers", code, 1);
    code = zelmocrd_OpenCard(reader, 0, &card);
    check("open", code, card != 0);
    code = zelmocrd_SetTrace(card, count_command, &commands);
    check("trace", code, 1);
    read_token_info(card);
    code = zelmocrd_GetCounters(card, &counters, 0);
    check("counters", code, counters.commands == commands && commands >= 3);
    code = zelmocrd_CloseCard(card);
    check("close", code, 1);
    return failures != 0;
}

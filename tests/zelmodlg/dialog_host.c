/* A host of the dialogs: opens the library as the token library does, runs one entry and prints what came of it.
 *
 * usage: dialog_host LIBRARY [-i SIGNAL] [-h SIGNAL] [-w FILE] [-t THREADS] [-a FILE] ENTRY ARGUMENT...
 *   get PROMPT CAPACITY
 *   change PROMPT OLD_CAPACITY NEW_CAPACITY MIN_LENGTH      OLD_CAPACITY 0: the present PIN is not asked for
 *   box TEXT CAPTION
 *   insert PROMPT [READER]
 *   slot PROMPT NAME...
 *   pad TEXT
 * -i ignores a signal, -h handles it. -w overwrites the host's own copies of PINs, makes FILE and waits for its end.
 * -t calls the entry in that many threads at once, while the first one waits; with 0, the default, in the first one.
 * -a has libassuan log all it does to a file, as a host may that uses it too.
 * Prints to standard output one line of JSON when the entry has returned.
 */
#include <dlfcn.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "zelmodlg/zelmodlg.h"

#define SIGNALS 32

typedef uint32_t (*Entry3)(uintptr_t, uintptr_t, uintptr_t);
typedef uint32_t (*Entry4)(uintptr_t, uintptr_t, uintptr_t, uintptr_t);
typedef uint32_t (*Entry5)(uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t);
typedef uint32_t (*Entry6)(uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t);
typedef uint32_t (*Entry9)(uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t, uintptr_t,
                           uintptr_t);

static volatile sig_atomic_t handled[SIGNALS];
static const char *wait_file;
static void *library;
static char **entry_arguments;

static void count(int number) {
    handled[number]++;
}

static uintptr_t word(const void *pointer) {
    return (uintptr_t)pointer;
}

static uintptr_t number(const char *digits) {
    return (uintptr_t)strtoul(digits, NULL, 10);
}

static void *entry(const char *name) {
    void *address = dlsym(library, name);
    if (address == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        exit(3);
    }
    return address;
}

/* A buffer as the token library makes it: one octet more than the capacity, all zero; then a mark. */
static char *new_buffer(uintptr_t capacity) {
    char *buffer = calloc(1, capacity + 2);
    if (buffer == NULL)
        exit(3);
    buffer[capacity + 1] = '\x5A';
    return buffer;
}

static void print_pin(const char *name, char *buffer, uintptr_t capacity) {
    size_t i;
    if (wait_file != NULL) {
        explicit_bzero(buffer, capacity);
        return;
    }
    if (buffer[capacity] != 0 || buffer[capacity + 1] != '\x5A') {
        fputs("written behind the buffer\n", stderr);
        exit(4);
    }
    printf(", \"%s\": \"", name);
    for (i = 0; buffer[i] != 0; i++)
        printf("%02x", (unsigned char)buffer[i]);
    printf("\"");
}

static void get(char **arguments) {
    uintptr_t capacity = number(arguments[1]);
    char *pin = new_buffer(capacity);
    Entry6 call = (Entry6)entry("scdlg_GetPIN");
    printf("{\"result\": %u", (unsigned)call(0, word(arguments[0]), word(pin), capacity, 0, 0));
    print_pin("pin", pin, capacity);
    free(pin);
}

static void change(char **arguments) {
    uintptr_t old_capacity = number(arguments[1]), new_capacity = number(arguments[2]);
    char *old_pin = new_buffer(old_capacity), *new_pin = new_buffer(new_capacity);
    Entry9 call = (Entry9)entry("scdlg_ChangePIN");
    printf("{\"result\": %u", (unsigned)call(0, word(arguments[0]), old_capacity != 0 ? word(old_pin) : 0, old_capacity,
                                             word(new_pin), new_capacity, number(arguments[3]), 0, 0));
    print_pin("old", old_pin, old_capacity);
    print_pin("new", new_pin, new_capacity);
    free(old_pin);
    free(new_pin);
}

static void slot(char **arguments) {
    uint32_t selected = 99;
    uintptr_t names = 0;
    Entry5 call = (Entry5)entry("scdlg_SelectSlot");
    while (arguments[1 + names] != NULL)
        names++;
    printf("{\"result\": %u", (unsigned)call(0, word(arguments[0]), word(arguments + 1), names, word(&selected)));
    printf(", \"selected\": %u", (unsigned)selected);
}

static void log_assuan(const char *file) {
    void *assuan = dlopen("libassuan.so.0", RTLD_NOW | RTLD_NODELETE);
    void (*set_stream)(FILE *) =
        assuan != NULL ? (void (*)(FILE *))dlsym(assuan, "assuan_set_assuan_log_stream") : NULL;
    FILE *stream = fopen(file, "w");
    if (set_stream == NULL || stream == NULL)
        exit(3);
    setbuf(stream, NULL);
    set_stream(stream);
}

static void run(const char *name, char **arguments) {
    if (strcmp(name, "get") == 0)
        get(arguments);
    else if (strcmp(name, "change") == 0)
        change(arguments);
    else if (strcmp(name, "slot") == 0)
        slot(arguments);
    else if (strcmp(name, "box") == 0)
        printf("{\"result\": %u",
               (unsigned)((Entry3)entry("scdlg_MessageBox"))(0, word(arguments[0]), word(arguments[1])));
    else if (strcmp(name, "insert") == 0)
        printf("{\"result\": %u",
               (unsigned)((Entry5)entry("scdlg_InsertCard"))(0, word(arguments[0]), word(arguments[1]), 0, 0));
    else if (strcmp(name, "pad") == 0)
        printf("{\"result\": %u", (unsigned)((Entry4)entry("scdlg_PinPadMessage"))(0, word(arguments[0]), 0, 0));
    else
        exit(2);
}

static void *run_thread(void *unused) {
    run(entry_arguments[0], entry_arguments + 1);
    return unused;
}

static void run_threads(int threads) {
    pthread_t thread[8];
    int n;
    for (n = 0; n < threads; n++)
        if (pthread_create(&thread[n], NULL, run_thread, NULL) != 0)
            exit(3);
    for (n = 0; n < threads; n++)
        pthread_join(thread[n], NULL);
}

/* What a dialog must leave as it was. */
static void print_state(struct sigaction *before) {
    int n, changed = 0, descriptors = 0;
    for (n = 1; n < SIGNALS; n++) {
        struct sigaction now;
        if (sigaction(n, NULL, &now) == 0 && memcmp(&now.sa_handler, &before[n].sa_handler, sizeof now.sa_handler) != 0)
            changed++;
    }
    for (n = 3; n < 256; n++)
        descriptors += dup2(n, n) == n;
    printf(", \"dispositions changed\": %d, \"descriptors\": %d, \"handled\": {", changed, descriptors);
    for (n = 1, changed = 0; n < SIGNALS; n++)
        if (handled[n] != 0)
            printf("%s\"%d\": %d", changed++ != 0 ? ", " : "", n, (int)handled[n]);
    printf("}}\n");
}

int main(int argc, char **argv) {
    static struct sigaction before[SIGNALS];
    int n, threads = 0;
    if (argc < 4)
        return 2;
    library = dlopen(argv[1], RTLD_NOW | RTLD_NODELETE);
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 3;
    }
    for (argv += 2; (*argv)[0] == '-'; argv += 2) {
        if (strcmp(*argv, "-w") == 0)
            wait_file = argv[1];
        else if (strcmp(*argv, "-t") == 0)
            threads = atoi(argv[1]) % 9;
        else if (strcmp(*argv, "-a") == 0)
            log_assuan(argv[1]);
        else
            signal(atoi(argv[1]), strcmp(*argv, "-i") == 0 ? SIG_IGN : count);
    }
    for (n = 1; n < SIGNALS; n++)
        sigaction(n, NULL, &before[n]);
    entry_arguments = argv;
    if (threads == 0)
        run_thread(NULL);
    else
        run_threads(threads);
    dlclose(library);
    if (wait_file != NULL) {
        FILE *file = fopen(wait_file, "w");
        if (file == NULL || fclose(file) != 0)
            return 3;
        pause();
    }
    print_state(before);
    return 0;
}

/* Lists the objects of a token: list_token READER, for instance list_token virtual:demo.card */
#include <stdio.h>
#include <zelmop15/pkcs15.h>

static const char *const type_names[] = {"private key",        "public key",  "trusted public key",
                                         "secret key",         "certificate", "trusted certificate",
                                         "useful certificate", "data object", "authentication object"};

/* Prints one object; one that cannot be read is passed over. */
static void print_object(CardHandle card, TokenContext *token, ObjectReference *reference) {
    char label[128] = "";
    void *object = NULL;
    if (pkcs15_ScGetDFEntry(card, token, reference, FLAG_USE_CACHE, &object, NULL) != 0)
        return;
    const CommonObjectAttributes *common = pkcs15_GetCommonObjectAttributes(object);
    if (common != NULL && common->label != NULL)
        pkcs15_Label2szString(common->label, label, sizeof label);
    printf("%-22s %s\n", type_names[pkcs15_GetObjectType(reference)], label);
    pkcs15_ScReleaseDFEntry(card, token, reference, RELEASE_DISCARD, object, NULL);
}

/* Walks the objects of one type; 0 when the end was reached. */
static uint32_t print_objects(CardHandle card, TokenContext *token, uint32_t type) {
    ObjectReference *reference = NULL;
    uintptr_t cursor = 0;
    uint32_t mode = ENUM_FIRST, code;
    while ((code = pkcs15_ScEnumerateObjects(card, token, type, mode, FLAG_REFRESH_CACHE, &cursor, &reference, NULL)) ==
           0) {
        print_object(card, token, reference);
        pkcs15_ObjectReferenceFree(reference);
        mode = ENUM_NEXT;
    }
    return code == PKCS15_S_END_OF_ENUMERATION ? 0 : code;
}

int main(int argc, char **argv) {
    CardHandle card = 0;
    TokenContext *token = NULL;
    DIRRecord *application = pkcs15_GetDefaultDIR();
    uint32_t status = 0, code = zelmocrd_OpenCard(argc > 1 ? argv[1] : "", 0, &card);
    if (code == 0)
        code = pkcs15_ScAcquireTokenContext(card, application, &token, &status);
    for (uint32_t type = PKCS15_PRIVATE_KEYS; code == 0 && type <= PKCS15_AUTH_OBJECTS; ++type)
        code = print_objects(card, token, type);
    if (code != 0)
        fprintf(stderr, "list_token: code 0x%08X, card status 0x%08X\n", (unsigned)code, (unsigned)status);
    pkcs15_ScReleaseTokenContext(token);
    asn1_DIRRecord_free(application);
    zelmocrd_CloseCard(card);
    return code == 0 ? 0 : 1;
}

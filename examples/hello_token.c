#include <stdio.h>
#include <zelmop15/pkcs15.h>

int main(int argc, char **argv) {
    char label[64] = "no token";
    CardHandle card = 0;
    TokenContext *token = NULL;
    DIRRecord *application = pkcs15_GetDefaultDIR();
    if (argc > 1 && zelmocrd_OpenCard(argv[1], 0, &card) == 0)
        pkcs15_ScAcquireTokenContext(card, application, &token, NULL);
    puts(token ? pkcs15_Label2szString(pkcs15_ScGetTokenInfo(token)->label, label, sizeof label) : label);
    pkcs15_ScReleaseTokenContext(token);
    asn1_DIRRecord_free(application);
    zelmocrd_CloseCard(card);
}

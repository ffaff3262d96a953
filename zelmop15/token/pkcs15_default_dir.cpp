// The built-in application record, for cards without EF.DIR.
#include "zelmop15/pkcs15.h"

namespace {

// The records point to octets through pointers that could write, so the octets stand in plain arrays; nothing writes
// them, since the record is only ever cloned.
uint8_t aid[] = {0xA0, 0x00, 0x00, 0x00, 0x63, 0x50, 0x4B, 0x43, 0x53, 0x2D, 0x31, 0x35};
uint8_t applicationPath[] = {0x3F, 0x00, 0x50, 0x15};
uint8_t odfOctets[] = {0x3F, 0x00, 0x50, 0x15, 0x50, 0x31};
uint8_t tokenInfoOctets[] = {0x3F, 0x00, 0x50, 0x15, 0x50, 0x32};

asn1_OctetString aidString = {sizeof aid, aid};
asn1_UTF8String emptyLabel = {0, nullptr};
asn1_OctetString applicationString = {sizeof applicationPath, applicationPath};
asn1_OctetString odfString = {sizeof odfOctets, odfOctets};
asn1_OctetString tokenInfoString = {sizeof tokenInfoOctets, tokenInfoOctets};

Path odfPath = {&odfString, nullptr, nullptr};
Path tokenInfoPath = {&tokenInfoString, nullptr, nullptr};
DDO discretionary = {nullptr, &odfPath, &tokenInfoPath, nullptr};

const DIRRecord defaultDIR = {&aidString, &emptyLabel, &applicationString, &discretionary};

}  // namespace

extern "C" {

DIRRecord *pkcs15_GetDefaultDIR(void) {
    return asn1_DIRRecord_clone(&defaultDIR);
}
}

// The TokenInfo file of a known faulty card, whose three outer lengths are wrong.
#include "token/pkcs15_token_info.h"

#include <cstring>

namespace {

struct Image {
    uint8_t octets[token::cia_info_size];
};

constexpr Image ciaInfoExample = {{
    0x30, 0x39,                                                             // TokenInfo
    0x02, 0x01, 0x01,                                                       // version 1
    0x80, 0x1D, 'H',  'e',  'a',  'l',  't',  'h',  ' ',                    // label
    'P',  'r',  'o',  'f',  'e',  's',  's',  'i',  'o',  'n',  'a',  'l',  //
    ' ',  'C',  'a',  'r',  'd',  ' ',  'v',  '2',  '.',  '0',              //
    0x03, 0x02, 0x05, 0x60,                                                 // flags
    0x30, 0x11, 0x30, 0x0F,                                                 // one SecurityEnvironmentInfo
    0x02, 0x01, 0x01,                                                       // se 1
    0x04, 0x0A, 0xA0, 0x00, 0x00, 0x01, 0x67, 0x45, 0x53, 0x49, 0x47, 0x4E,
}};

constexpr Image make_buggy() {
    Image image = ciaInfoExample;
    image.octets[1] = 0x34;
    image.octets[41] = 0x10;
    image.octets[43] = 0x0B;
    return image;
}

constexpr Image ciaInfoExampleBuggy = make_buggy();

}  // namespace

namespace token {

bool repair_token_info(uint8_t *file) {
    if (std::memcmp(file, ciaInfoExampleBuggy.octets, cia_info_size) != 0)
        return false;
    std::memcpy(file, ciaInfoExample.octets, cia_info_size);
    return true;
}

}  // namespace token

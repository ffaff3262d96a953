// Commands of any content, one after the other, to a virtual card that has a file of each kind.
#include "codec.h"
#include "virtualcard/card.h"

namespace {

// DFs with and without a name, the three kinds of EF, a short identifier, access conditions, PINs of every sort, keys.
constexpr const char *image_text = R"({ "format": "zelmo virtual card 1",
  "root": { "fid": "3F00", "kind": "df", "files": [
    { "fid": "2F00", "kind": "transparent", "size": 40, "data": "61084F03A00001510100" },
    { "fid": "5015", "kind": "df", "name": "A000000063504B43532D3135", "files": [
      { "fid": "5031", "kind": "transparent", "sfi": 17, "size": 300, "data": "A006300404024400" },
      { "fid": "4400", "kind": "tlv-records", "sfi": 1, "maxRecords": 6, "records": ["0102AABB", "0000", "0300"] },
      { "fid": "4401", "kind": "linear-variable", "records": ["610100", "", "62"], "maxRecord": 40 },
      { "fid": "4402", "kind": "transparent", "data": "0102", "access": { "read": { "pin": 129 }, "update": "never" } },
      { "fid": "DF02", "kind": "df", "files": [ { "fid": "0001", "kind": "transparent", "data": "07" } ] } ] } ] },
  "pins": [ { "reference": 129, "value": "31323334", "maxTries": 3, "minLength": 2, "maxLength": 6, "unblockedBy": 2 },
    { "reference": 2, "value": "32", "maxTries": 0, "access": { "change": "always", "unblock": "always" } },
    { "reference": 3 } ],
  "keys": [ { "reference": 1, "algorithm": "3des", "value": "000102030405060708090A0B0C0D0E0F", "maxTries": 0 },
    { "reference": 2, "algorithm": "aes", "value": "000102030405060708090A0B0C0D0E0F",
      "access": { "change": { "pin": 2 } } } ] })";

void check_answer(const virtualcard::Bytes &answer) {
    fuzz::require(answer.size() >= 2, "answer", "it has a status word");
    const uint8_t high = answer[answer.size() - 2];
    fuzz::require(high == 0x90 || (high >= 0x61 && high <= 0x6F), "answer", "its status word is one");
    fuzz::require(answer.size() <= 0x10000 + 2, "answer", "it fits an extended answer");
}

}  // namespace

// Each command stands behind one octet with its length; FF asks for a reset.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const virtualcard::CardImage image = virtualcard::parseImage(image_text, "image");
    virtualcard::VirtualCard card(image);
    const uint8_t *end = data + size;
    while (data < end) {
        const uint8_t length = *data++;
        if (length == 0xFF) {
            card.reset();
            continue;
        }
        const size_t octets = std::min<size_t>(length, static_cast<size_t>(end - data));
        check_answer(card.transmit({data, octets}));
        data += octets;
    }
    const std::string text = virtualcard::formatImage(card.image());
    fuzz::require(virtualcard::formatImage(virtualcard::parseImage(text, "written")) == text, "image",
                  "what the commands left can be written and read");
    return 0;
}

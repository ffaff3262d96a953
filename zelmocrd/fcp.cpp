#include "zelmocrd/fcp.h"

#include "zelmocrd/tlv.h"

namespace zelmocrd {

namespace {

using Octets = std::span<const uint8_t>;

constexpr uint32_t tagFcp = 0x62;
constexpr uint32_t tagFci = 0x6F;

// The objects of the file control parameters. An FCI holds them in a template of their own or directly.
Octets parameters(Octets answer) {
    if (const auto fcp = findTlv(answer, tagFcp))
        return *fcp;
    const Octets fci = findTlv(answer, tagFci).value_or(Octets());
    return findTlv(fci, tagFcp).value_or(fci);
}

// Structures 1 to 5 of a working or internal EF; cyclic files and DFs are nothing to read here.
uint32_t fileType(uint8_t descriptor) {
    constexpr unsigned category = 0xB8;
    constexpr unsigned internalEf = 0x08;
    const unsigned structure = descriptor & 0x07u;
    const bool ef = (descriptor & category) == 0 || (descriptor & category) == internalEf;
    return ef && structure <= 5 ? structure : 0;
}

// Descriptor, data coding, then record length and record count of one or two octets each.
void readDescriptor(Octets value, FileInfo &info) {
    if (value.empty())
        return;
    info.fileType = fileType(value[0]);
    if (info.fileType < 2 || value.size() < 3)
        return;
    info.recordSize = *bigEndian(value.subspan(2, value.size() == 3 ? 1 : 2));
    if (value.size() == 5 || value.size() == 6)
        info.records = *bigEndian(value.subspan(4));
}

}  // namespace

FileInfo parseFileControl(Octets answer) {
    constexpr uint32_t tagSize = 0x80;
    constexpr uint32_t tagDescriptor = 0x82;
    constexpr uint32_t tagFileId = 0x83;
    constexpr uint32_t tagLifeCycle = 0x8A;
    FileInfo info = {};
    Octets objects = parameters(answer);
    while (const auto object = takeTlv(objects)) {
        const uint32_t number = bigEndian(object->value).value_or(0);
        if (object->tag == tagDescriptor)
            readDescriptor(object->value, info);
        else if (object->tag == tagSize)
            info.fileSize = number;
        else if (object->tag == tagFileId)
            info.fileId = number & 0xFFFFu;
        else if (object->tag == tagLifeCycle)
            info.lifeCycle = number & 0xFFu;
    }
    if (info.fileType > 1)
        info.fileSize = 0;
    return info;
}

}  // namespace zelmocrd

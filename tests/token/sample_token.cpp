#include "token/sample_token.h"

#include <sstream>
#include <stdexcept>

LogCapture::LogCapture(uint32_t level) {
    EXPECT_EQ(pkcs15_LogInit(stream_.get(), level), 0);
    take();
}

LogCapture::~LogCapture() {
    pkcs15_LogClose();
}

std::vector<std::string> LogCapture::take() {
    const std::string all = stream_.text();
    std::istringstream added(all.substr(taken_));
    taken_ = all.size();
    std::vector<std::string> lines;
    for (std::string line; std::getline(added, line);) {
        const size_t level = line.find(' ') + sizeof "hh:mm:ss";  // behind process, thread and time
        std::string entry = line.substr(level + 1, 5) + line.substr(level + 7);
        if (entry.find("Exception") != std::string::npos)
            entry.resize(entry.rfind(" ("));
        lines.push_back(entry.substr(entry.find_first_not_of(' ')));
    }
    return lines;
}

std::string exception_line(const char *level, const char *code, const char *unit) {
    return std::string(level) + " Exception " + code + " at " + unit;
}

Octets text(const char *characters) {
    const std::string string = characters;
    return Octets(string.begin(), string.end());
}

Octets path_value(const char *path) {
    return der(0x30, {der(0x04, {hex(path)})});
}

namespace {

Octets common_attributes(const std::string &label) {
    return label.empty() ? hex("3000") : der(0x30, {der(0x0C, {text(label.c_str())})});
}

Octets identifier(uint8_t id) {
    return der(0x04, {Octets{id}});
}

Octets object(uint8_t tag, const Octets &classAttributes, const Octets &typeAttributes, const std::string &label = "") {
    return der(tag, {common_attributes(label), der(0x30, {classAttributes}), der(0xA1, {typeAttributes})});
}

}  // namespace

Octets pin_object(uint8_t authId) {
    // pinFlags, pinType ASCII, lengths 4 and 8, pinReference 1
    return object(0x30, identifier(authId), der(0x30, {hex("0302030C 0A0101 020104 020108 800101")}));
}

Octets auth_key_object(uint8_t authId, uint8_t keyId) {
    return object(0xA1, identifier(authId), der(0x30, {identifier(keyId)}));
}

Octets secret_key_object(uint8_t id) {
    return object(0xA2, identifier(id) + hex("03020780"), der(0x30, {path_value("4B01")}));
}

Octets private_key_object(uint8_t id, const std::string &label) {
    return object(0x30, identifier(id) + hex("03020520"), der(0x30, {path_value("4B02"), hex("02020400")}), label);
}

Octets certificate_object(uint8_t id) {
    return object(0x30, identifier(id), der(0x30, {path_value("4301")}));
}

Octets data_object() {
    return object(0x30, {}, path_value("4401"));
}

Octets carried_key(uint8_t id) {
    return object(0xA0, identifier(id) + hex("03020520"), der(0x30, {path_value("4B03")}));
}

Octets broken_object() {
    return hex("1F0101");
}

Octets odf_entry(uint8_t objectType, const char *path) {
    return der(static_cast<uint8_t>(0xA0 + objectType), {path_value(path)});
}

Octets token_info(bool recordInfo) {
    const Octets records = recordInfo ? hex("A103 830164") : Octets{};  // certificates in records of 100 octets
    return der(0x30, {hex("020100 0402CAFE"), der(0x80, {text("Sample")}), hex("03020460"), records});
}

Octets dir_record(uint8_t lastOctet, const char *path) {
    return der(0x61, {der(0x4F, {hex("A0000000630001"), Octets{lastOctet}}), der(0x51, {hex(path)})});
}

std::string in_token(const char *fileId) {
    return std::string("3F005015") + fileId;
}

TokenCard::TokenCard(bool recordInfo) {
    applications["A000000063504B43532D3135"] = "3F005015";
    file("5032").content = token_info(recordInfo);
    file("5031");
}

FakeFile &TokenCard::add_directory(uint8_t objectType, const char *fileId, FakeFile directory) {
    file("5031").content = file("5031").content + odf_entry(objectType, fileId);
    return file(fileId) = std::move(directory);
}

uint32_t acquire(Context &context, uint32_t *cardError) {
    const Dir application(pkcs15_GetDefaultDIR());
    TokenContext *opened = nullptr;
    const uint32_t code = application == nullptr
                              ? PKCS15_E_NO_MEMORY
                              : pkcs15_ScAcquireTokenContext(test_card, application.get(), &opened, cardError);
    context.reset(code == 0 ? opened : nullptr);
    return code;
}

Context acquire(CardDouble &card) {
    Context context;
    uint32_t cardError = untouched;
    if (acquire(context, &cardError) != 0)
        throw std::runtime_error("the test's token cannot be opened");
    card.take_calls();
    return context;
}

std::vector<Ref> walk(TokenContext *context, uint32_t objectType, uint32_t flags) {
    std::vector<Ref> found;
    uintptr_t cursor = 0;
    uint32_t cardError = untouched;
    for (uint32_t mode = ENUM_FIRST;; mode = ENUM_NEXT) {
        ObjectReference *reference = nullptr;
        const uint32_t code =
            pkcs15_ScEnumerateObjects(test_card, context, objectType, mode, flags, &cursor, &reference, &cardError);
        if (code != 0) {
            EXPECT_EQ(code, PKCS15_S_END_OF_ENUMERATION);
            EXPECT_EQ(cursor, 0u);
            return found;
        }
        found.emplace_back(reference);
    }
}

std::vector<uint32_t> ids(TokenContext *context, uint32_t objectType, uint32_t flags) {
    std::vector<uint32_t> numbers;
    for (const Ref &reference : walk(context, objectType, flags))
        numbers.push_back(pkcs15_GetObjectId(reference.get()));
    return numbers;
}

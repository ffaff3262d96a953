// The walk over EF.DIR, the object directory, and directory files as runs of values.
#include "token/pkcs15_cursor.h"
#include "token/sample_token.h"

namespace {

constexpr const char *select_dir = "scardcmd_SelectFile 8 2F00 place";

// An AID filter of the AIDs that dir_record() makes with these last octets.
struct Filter {
    explicit Filter(const Octets &lastOctets) {
        for (uint8_t last : lastOctets)
            aids.push_back(hex("A0000000630001") + Octets{last});
        for (Octets &aid : aids)
            elements.push_back({static_cast<uint32_t>(aid.size()), aid.data()});
        elements.push_back({0, nullptr});
    }
    std::vector<Octets> aids;
    std::vector<asn1_OctetString> elements;
};

struct DirectoryTest : ::testing::Test {
    uint32_t step(uint32_t mode, const asn1_OctetString *filter) {
        DIRRecord *found = nullptr;
        const uint32_t code = pkcs15_ScEnumerateDirectories(test_card, mode, filter, &cursor, &found, &cardError);
        dir.reset(found);
        return code;
    }
    uint8_t last_octet() const {
        return dir->aid->data[7];
    }

    LogCapture log;
    ScriptedCard card;
    uintptr_t cursor = 0;
    uint32_t cardError = untouched;
    Dir dir;
};

TEST_F(DirectoryTest, TransparentFileIsReadOnceAndFiltered) {
    const Filter filter({2, 3});
    card.script = {{0, {}, transparent},
                   {0, dir_record(1) + dir_record(2) + dir_record(4) + dir_record(3) + hex("0000") + dir_record(2)}};
    ASSERT_EQ(step(ENUM_FIRST, filter.elements.data()), 0u);
    EXPECT_EQ(last_octet(), 2);
    ASSERT_EQ(step(ENUM_NEXT, filter.elements.data()), 0u);
    EXPECT_EQ(last_octet(), 3);
    EXPECT_EQ(step(ENUM_NEXT, filter.elements.data()), PKCS15_S_END_OF_ENUMERATION);
    EXPECT_EQ(cursor, 0u);
    EXPECT_EQ(cardError, 0u);
    EXPECT_THAT(card.take_calls(), ElementsAre(select_dir, "scard_ReadEFBinary null 0 32766 0"));
    EXPECT_THAT(log.take(), ElementsAre(exception_line("Trace", "0x20200001")));
}

TEST_F(DirectoryTest, NoOrEmptyFilterReturnsNothing) {
    const Filter none({});
    for (const asn1_OctetString *filter : {none.elements.data(), static_cast<const asn1_OctetString *>(nullptr)}) {
        card.script = {{0, {}, transparent}, {0, dir_record(1) + dir_record(2)}};
        EXPECT_EQ(step(ENUM_FIRST, filter), PKCS15_S_END_OF_ENUMERATION);
        card.script = {{0, {}, variable_records}, {0, dir_record(1)}, {sw_record_not_found}};
        EXPECT_EQ(step(ENUM_FIRST, filter), PKCS15_S_END_OF_ENUMERATION);
        EXPECT_EQ(cardError, 0u);
        EXPECT_EQ(cursor, 0u);
    }
}

TEST_F(DirectoryTest, RecordsAreReadWithTheCapacityThatTheLastOneDelivered) {
    const Filter filter({9});
    const Octets unlike = dir_record(1), wanted = dir_record(9);
    for (uint32_t type : {variable_records, tlv_records}) {
        card.script = {{0, {}, type}, {0, unlike}, {0, wanted}, {sw_record_not_found}};
        ASSERT_EQ(step(ENUM_FIRST, filter.elements.data()), 0u);
        EXPECT_EQ(last_octet(), 9);
        EXPECT_EQ(cursor, token::RECORD_CURSOR);
        EXPECT_EQ(step(ENUM_NEXT, filter.elements.data()), PKCS15_S_END_OF_ENUMERATION);
        EXPECT_EQ(cursor, 0u);
        const std::string second = "scardcmd_ReadRecord 0 0 2 0 " + std::to_string(unlike.size());
        EXPECT_THAT(card.take_calls(), ElementsAre(select_dir, "scardcmd_ReadRecord 0 0 2 0 234", second,
                                                   "scardcmd_ReadRecord 0 0 2 0 234"));
    }
}

TEST_F(DirectoryTest, FaultyRecordsAreRepaired) {
    const Filter filter({8});
    Octets faulty = hex("0030") + dir_record(7), wanted = hex("0030") + dir_record(8);
    faulty[2] = wanted[2] = 0x30;
    card.script = {{0, {}, variable_records}, {0, faulty}, {0, wanted}};
    ASSERT_EQ(step(ENUM_FIRST, filter.elements.data()), 0u);
    EXPECT_EQ(last_octet(), 8);
    EXPECT_EQ(step(ENUM_CLOSE, nullptr), 0u);
    EXPECT_EQ(cursor, 0u);
    // The end for decoding lies two octets behind such a record, so its last value may reach there.
    wanted.resize(wanted.size() - 2);
    card.script = {{0, {}, variable_records}, {0, wanted}};
    ASSERT_EQ(step(ENUM_FIRST, filter.elements.data()), 0u);
    EXPECT_EQ(to_hex(dir->path->data, dir->path->len), "3F000000");
    EXPECT_EQ(step(ENUM_CLOSE, nullptr), 0u);
    // Decoding stays moved for the rest of a call, so a sound record behind a faulty one cannot be read by it.
    card.script = {{0, {}, variable_records}, {0, faulty}, {0, dir_record(8)}};
    EXPECT_EQ(step(ENUM_FIRST, filter.elements.data()), PKCS15_E_INVALID_TOKEN);
}

struct Refusal {
    const char *what;
    std::deque<CardAnswer> script;
    uint32_t code;
    uint32_t cardError;
};

TEST_F(DirectoryTest, Failures) {
    Octets claims_234(234, 0);  // a faulty record whose value would reach behind the buffer
    claims_234[2] = 0x30;
    claims_234[3] = 0x81;
    claims_234[4] = 229;
    const Refusal cases[] = {
        {"no EF.DIR", {{sw_file_not_found}}, PKCS15_S_END_OF_ENUMERATION, sw_file_not_found},
        {"no card", {{0x80100069}}, PKCS15_S_END_OF_ENUMERATION, 0x80100069},
        {"unusable", {{0, {}, 0}}, PKCS15_E_UNSUPPORTED, 0},
        {"fixed records", {{0, {}, 2}}, PKCS15_E_UNSUPPORTED, 0},
        {"unreadable", {{0, {}, transparent}, {0xE0116982}}, PKCS15_E_SECURITY_STATUS, 0xE0116982},
        {"no DER", {{0, {}, transparent}, {0, hex("61FF")}}, PKCS15_E_INVALID_TOKEN, 0},
        {"SEQUENCE", {{0, {}, transparent}, {0, hex("3000")}}, PKCS15_E_INVALID_TOKEN, 0},
        {"starts with zero", {{0, {}, transparent}, {0, hex("00") + dir_record(1)}}, PKCS15_S_END_OF_ENUMERATION, 0},
        {"empty file", {{0, {}, transparent}, {0, {}}}, PKCS15_S_END_OF_ENUMERATION, 0},
        {"unreadable record", {{0, {}, variable_records}, {0x80100068}}, PKCS15_E_DEVICE_ERROR, 0x80100068},
        {"empty record", {{0, {}, variable_records}, {0, {}}}, PKCS15_E_INVALID_TOKEN, 0},
        {"reaches too far", {{0, {}, variable_records}, {0, claims_234}}, PKCS15_E_INVALID_TOKEN, 0},
    };
    for (const Refusal &c : cases) {
        card.script = c.script;
        cardError = untouched;
        EXPECT_EQ(step(ENUM_FIRST, nullptr), c.code) << c.what;
        EXPECT_EQ(cardError, c.cardError) << c.what;
        EXPECT_EQ(cursor, 0u) << c.what;
        EXPECT_TRUE(card.script.empty()) << c.what;
    }
}

TEST_F(DirectoryTest, WrongCursorStates) {
    const Filter filter({1});
    EXPECT_EQ(pkcs15_ScEnumerateDirectories(test_card, ENUM_FIRST, nullptr, nullptr, nullptr, nullptr),
              PKCS15_E_INVALID_PARAMETER);
    for (uint32_t mode = ENUM_NEXT; mode <= ENUM_CLOSE + 1; ++mode)
        EXPECT_EQ(step(mode, nullptr), PKCS15_E_INVALID_PARAMETER);
    EXPECT_EQ(cardError, untouched);
    log.take();
    for (uint32_t mode : {static_cast<uint32_t>(ENUM_FIRST), 77u}) {  // a live list goes with the refusal
        card.script = {{0, {}, transparent}, {0, dir_record(1) + dir_record(2)}};
        EXPECT_EQ(step(ENUM_FIRST, filter.elements.data()), 0u);
        EXPECT_EQ(step(mode, nullptr), PKCS15_E_INVALID_PARAMETER);
        EXPECT_EQ(cursor, 0u);
        EXPECT_THAT(log.take(), ElementsAre(exception_line("Error", "0xE0200003")));
    }
}

// ---- directory files
// -------------------------------------------------------------------------------------------------

const uint8_t *decode_path(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, void **element, uint16_t level) {
    Path *path = nullptr;
    z = asn1_Path_d(z, end, impl_tag, &path, level);
    *element = path;
    return z;
}
uint32_t encode_path(uint8_t **cursor, const void *element) {
    return asn1_Path_e(cursor, static_cast<const Path *>(element));
}
void free_path(void *element) {
    asn1_Path_free(static_cast<Path *>(element));
}

TEST(DirectoryFile, DecodesARunOfValuesUpToAZeroOctet) {
    const Octets two = path_value("4301") + path_value("4302");
    struct {
        Octets file;
        int32_t values;  // -1: refused
        size_t end;
    } const cases[] = {{{}, 0, 0},
                       {hex("00"), 0, 0},
                       {hex("00") + two, 0, 0},
                       {two, 2, two.size()},
                       {two + hex("0000") + two, 2, two.size()},
                       {two + hex("04"), -1, 0},
                       {two + hex("30"), -1, 0}};
    for (const auto &c : cases) {
        const Octets file = c.file + hex("FF");  // an octet behind the end, never to be looked at
        List *list = reinterpret_cast<List *>(&list);
        const uint8_t *z =
            pkcs15_DirectoryFile_d(file.data(), file.data() + c.file.size(), decode_path, free_path, &list, 0);
        EXPECT_EQ(z, c.values < 0 ? nullptr : file.data() + c.end) << to_hex(file.data(), file.size());
        EXPECT_EQ(list != nullptr ? List_len(list) : -1, c.values);
        const uint32_t size = pkcs15_DirectoryFile_e(nullptr, list, encode_path);
        EXPECT_EQ(size, list != nullptr ? c.end : 0);
        Octets encoded(size + 1, 0xEE);
        EXPECT_EQ(pkcs15_DirectoryFile_e(encoded.data(), list, encode_path), size);
        EXPECT_EQ(encoded.back(), 0xEE);
        EXPECT_TRUE(std::equal(encoded.begin(), encoded.end() - 1, file.begin()));
        List_free(list, free_path);
    }
    List *list = nullptr;
    EXPECT_EQ(pkcs15_DirectoryFile_d(nullptr, nullptr, decode_path, free_path, &list, 0), nullptr);
    EXPECT_EQ(pkcs15_DirectoryFile_d(two.data(), two.data(), decode_path, free_path, nullptr, 0), nullptr);
}

TEST(DirectoryFile, AValueThatCannotBeEncodedFailsTheFile) {
    List *list = List_new(2);
    Path incomplete{};
    List_append(list, &incomplete, nullptr);
    EXPECT_EQ(pkcs15_DirectoryFile_e(nullptr, list, encode_path), 0u);
    List_free(list, nullptr);
}

TEST(Odf, FirstEntryOfATypeCounts) {
    TokenCard card(false);
    card.file("5031").content = odf_entry(1, "4001") + odf_entry(0, "4002") + odf_entry(1, "4003") +
                                der(0xA7, {der(0xA0, {data_object()})}) +
                                odf_entry(7, "4004");  // objects in the entry itself, then a path
    for (const char *selected : {"4001", "4002", "4003"})
        card.file(selected);
    const Context context = acquire(card);
    const List *entries = context->odfEntries;
    EXPECT_EQ(List_len(entries), 5);
    EXPECT_EQ(pkcs15_GetDirectoryFilePath(entries, 1)->path->data[1], 0x01);
    EXPECT_EQ(pkcs15_GetDirectoryFilePath(entries, 0)->path->data[1], 0x02);
    for (uint32_t type : {2u, 7u, 8u, 9u, 0xFFFFFFFFu})
        EXPECT_EQ(pkcs15_GetDirectoryFilePath(entries, type), nullptr) << type;
    EXPECT_NE(pkcs15_GetPKCS15ObjectsPath(static_cast<const PKCS15Objects *>(List_get(entries, 4))), nullptr);
}

void free_entry(void *entry) {
    asn1_PKCS15Objects_free(static_cast<PKCS15Objects *>(entry));
}

TEST(Odf, IsReadAfresh) {
    TokenCard card(false);
    const Context context = acquire(card);
    card.file("5031").content = odf_entry(3, "4003");
    List *list = nullptr;
    uint32_t cardError = untouched;
    LogCapture log;
    ASSERT_EQ(pkcs15_ScReadODF(test_card, context.get(), &list, &cardError), 0u);
    EXPECT_EQ(List_len(list), 1);
    EXPECT_EQ(List_len(context->odfEntries), 0);
    List_free(list, free_entry);
    EXPECT_THAT(card.take_calls(), ElementsAre("scard_SelectFile A000000063504B43532D3135 3F0050155031 null",
                                               "scard_ReadEFBinary null 0 32768 0"));
    card.file("5031").content = hex("A9023000");
    EXPECT_EQ(pkcs15_ScReadODF(test_card, context.get(), &list, nullptr), PKCS15_E_INVALID_TOKEN);
    card.files.erase(in_token("5031"));
    EXPECT_EQ(pkcs15_ScReadODF(test_card, context.get(), &list, &cardError), PKCS15_E_DEVICE_ERROR);
    EXPECT_EQ(cardError, sw_file_not_found);
    EXPECT_THAT(log.take(), ElementsAre(exception_line("Error", "0xE0200010"), "Warn Device error 0xE0116A82.",
                                        exception_line("Error", "0xE0200011")));
}

}  // namespace

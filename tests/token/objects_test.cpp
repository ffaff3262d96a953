// Walking and finding objects.
#include "asn1/asn1_x680.h"
#include "token/pkcs15_cursor.h"
#include "token/sample_token.h"

namespace {

constexpr const char *mismatch =
    "Warn TokenInfo.recordInfo and physical file type do not match. Using physical file type.";
constexpr const char *no_more = "Trace Exception 0x20200001 at pkcs15_scard";

struct ObjectsTest : ::testing::Test {
    // A token with one directory of private keys.
    void open(bool declared, FakeFile file) {
        context.reset();
        card.reset();
        card = std::make_unique<TokenCard>(declared);
        card->add_directory(PKCS15_PRIVATE_KEYS, "4001", std::move(file));
        context = acquire(*card);
    }
    uint32_t step(uint32_t mode, uint32_t flags = refresh, uint32_t objectType = PKCS15_PRIVATE_KEYS) {
        ObjectReference *found = nullptr;
        const uint32_t code =
            pkcs15_ScEnumerateObjects(test_card, context.get(), objectType, mode, flags, &cursor, &found, &cardError);
        reference.reset(found);
        return code;
    }
    uint32_t find(uint8_t id, uint32_t objectType = PKCS15_PRIVATE_KEYS) {
        const asn1_OctetString identifier = {1, &id};
        ObjectReference *found = nullptr;
        const uint32_t code = pkcs15_ScFindObject(test_card, context.get(), objectType, &identifier,
                                                  FLAG_REFRESH_CACHE | FLAG_USE_CACHE, &found, &cardError);
        EXPECT_EQ(code == 0, found != nullptr);
        reference.reset(found);
        return code;
    }

    std::unique_ptr<TokenCard> card;
    Context context;
    uintptr_t cursor = 0;
    uint32_t cardError = untouched;
    Ref reference;
};

TEST_F(ObjectsTest, TransparentFileIsReadOnceAndCountsDown) {
    open(false, {transparent, private_key_object(1) + carried_key(2) + private_key_object(3) + hex("0000")});
    LogCapture log;
    EXPECT_THAT(ids(context.get(), PKCS15_PRIVATE_KEYS), ElementsAre(2, 1, 0));
    EXPECT_THAT(card->take_calls(),
                ElementsAre("scard_SelectFile null 3F0050154001 place", "scard_ReadEFBinary null 0 32768 0"));
    EXPECT_THAT(log.take(), ElementsAre(no_more));
    const std::vector<Ref> first = walk(context.get(), 0, 0), again = walk(context.get(), 0, 0);
    EXPECT_EQ(to_hex(first[1]->encodedEntry, first[1]->encodedLength),
              to_hex(carried_key(2).data(), carried_key(2).size()));
    EXPECT_EQ(pkcs15_ObjectReferenceCmp(first[1].get(), again[1].get()), 0);
    EXPECT_EQ(pkcs15_ObjectReferenceCmp(first[1].get(), again[0].get()), 1);
    EXPECT_EQ(pkcs15_GetObjectType(first[1].get()), 0u);
}

TEST_F(ObjectsTest, ManyObjectsKeepIdsOfOneOctet) {
    Octets file;
    for (int i = 0; i < 300; ++i)
        file = file + hex("A000");
    open(false, {transparent, file});
    const std::vector<uint32_t> numbers = ids(context.get(), 0);
    ASSERT_EQ(numbers.size(), 300u);
    EXPECT_EQ(numbers[0], 299 - 256u);
    EXPECT_EQ(numbers[44], 255u);  // 256 objects left, which is 0 in one octet, minus 1
    EXPECT_EQ(numbers[299], 0u);
}

TEST_F(ObjectsTest, RecordsThatHoldNothingAreSkipped) {
    open(true, {tlv_records,
                {},
                {record(3, private_key_object(3)), hex("0000"), hex("0420 3000"), record(9, broken_object()),
                 record(3, private_key_object(3))}});
    LogCapture log;
    EXPECT_THAT(ids(context.get(), 0), ElementsAre(3, 9, 3));
    EXPECT_THAT(log.take(), ElementsAre(no_more));
    const std::string read = "scardcmd_ReadRecord 0 0 2 0 234";
    EXPECT_THAT(card->take_calls(),
                ElementsAre("scard_SelectFile null 3F0050154001 place", read, read, read, read, read, read));
    const std::vector<Ref> refs = walk(context.get(), 0, refresh);
    card->take_calls();
    void *object = nullptr;
    EXPECT_EQ(pkcs15_ScGetDFEntry(test_card, context.get(), refs[0].get(), FLAG_USE_CACHE, &object, nullptr), 0u);
    pkcs15_ScReleaseDFEntry(test_card, context.get(), refs[0].get(), RELEASE_DISCARD, object, nullptr);
    EXPECT_THAT(card->take_calls(), IsEmpty());
}

TEST_F(ObjectsTest, WithoutRefreshOnlyHeadersAreRead) {
    open(true, {tlv_records, {}, {record(3, private_key_object(3)), hex("0600"), record(9, private_key_object(9))}});
    EXPECT_THAT(ids(context.get(), 0, FLAG_USE_CACHE), ElementsAre(6));
    const std::string read = "scardcmd_ReadRecord 0 0 2 0 2";
    EXPECT_THAT(card->take_calls(), ElementsAre("scard_SelectFile null 3F0050154001 place", read, read, read, read));
    EXPECT_EQ(context->dirCache->writes, 0u);
}

TEST_F(ObjectsTest, RefreshPurgesTheCachedRecordsOfTheType) {
    open(true, {tlv_records, {}, {record(3, private_key_object(3)), record(4, private_key_object(4))}});
    ids(context.get(), 0);
    ASSERT_EQ(step(ENUM_FIRST), 0u);
    EXPECT_EQ(context->dirCache->slots[0].length + context->dirCache->slots[1].length, reference->cacheSlot->length);
    EXPECT_EQ(step(ENUM_CLOSE), 0u);
    EXPECT_EQ(cursor, 0u);
}

TEST_F(ObjectsTest, ThePhysicalTypeCounts) {
    const Octets key = private_key_object(1);
    const struct {
        bool declared;
        FakeFile file;
        bool warns;
    } cases[] = {{false, {transparent, key}, false},
                 {true, {transparent, key}, true},
                 {true, {tlv_records, {}, {record(1, key)}}, false},
                 {false, {tlv_records, {}, {record(1, key)}}, true}};
    for (const auto &c : cases) {
        open(c.declared, c.file);
        LogCapture log;
        EXPECT_EQ(ids(context.get(), 0).size(), 1u);
        const auto lines = log.take();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), mismatch), c.warns ? 1 : 0);
    }
}

TEST_F(ObjectsTest, AShortFileIdentifierIsNotSelected) {
    card = std::make_unique<TokenCard>(false);
    card->file("5031").content = odf_entry(PKCS15_USEFUL_CERTIFICATES, "0A");
    card->short_ids[0x0A] = in_token("4006");
    card->file("4006").content = certificate_object(1);
    context = acquire(*card);
    EXPECT_EQ(ids(context.get(), PKCS15_USEFUL_CERTIFICATES).size(), 1u);
    EXPECT_THAT(card->take_calls(), ElementsAre("scard_ReadEFBinary 0A 0 32768 0"));
    // Where the token declares records, there is no physical type to gainsay it.
    context->tokenInfo->recordInfo = asn1_RecordInfo_new();
    ScriptedCard records;
    records.script = {{0, record(5, certificate_object(1))}, {sw_record_not_found}};
    EXPECT_THAT(ids(context.get(), PKCS15_USEFUL_CERTIFICATES), ElementsAre(5));
    EXPECT_EQ(records.take_calls().size(), 2u);
}

TEST_F(ObjectsTest, Failures) {
    const Octets key = private_key_object(1);
    const struct {
        const char *what;
        FakeFile file;
        unsigned failing_call;
        uint32_t code, cardError;
    } cases[] = {
        {"not to be selected", {transparent, key}, 1, PKCS15_E_SECURITY_STATUS, 0xE0116982},
        {"not to be read", {transparent, key}, 2, PKCS15_E_SECURITY_STATUS, 0xE0116982},
        {"record not to be read", {tlv_records, {}, {record(1, key)}}, 2, PKCS15_E_SECURITY_STATUS, 0xE0116982},
        {"undecodable", {transparent, key + broken_object()}, 0, PKCS15_E_INVALID_TOKEN, 0},
        {"variable records", {variable_records}, 0, PKCS15_E_UNSUPPORTED, 0},
        {"unusable", {0}, 0, PKCS15_E_UNSUPPORTED, 0},
        {"one octet", {tlv_records, {}, {hex("05")}}, 0, PKCS15_E_UNSUPPORTED, 0},
        {"no record", {tlv_records}, 0, PKCS15_S_END_OF_ENUMERATION, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        open(true, c.file);
        card->fail(c.failing_call, 0xE0116982);
        EXPECT_EQ(step(ENUM_FIRST), c.code);
        EXPECT_EQ(cardError, c.cardError);
        EXPECT_EQ(cursor, 0u);
        EXPECT_EQ(step(ENUM_CLOSE), PKCS15_E_INVALID_PARAMETER);
    }
}

TEST_F(ObjectsTest, WrongCursorStates) {
    open(false, {transparent, private_key_object(1) + private_key_object(2)});
    cardError = untouched;
    EXPECT_EQ(pkcs15_ScEnumerateObjects(test_card, context.get(), 0, ENUM_FIRST, 0, nullptr, nullptr, nullptr),
              PKCS15_E_INVALID_PARAMETER);
    for (uint32_t mode = ENUM_NEXT; mode <= ENUM_CLOSE + 1; ++mode)
        EXPECT_EQ(step(mode), PKCS15_E_INVALID_PARAMETER);
    EXPECT_EQ(step(ENUM_FIRST, refresh, PKCS15_TRUSTED_PUBLIC_KEYS), PKCS15_S_END_OF_ENUMERATION);
    EXPECT_EQ(step(ENUM_FIRST, refresh, 9), PKCS15_S_END_OF_ENUMERATION);
    EXPECT_EQ(cardError, untouched);
    for (uint32_t mode : {0u, 77u}) {  // a live list goes with the refusal
        ASSERT_EQ(step(ENUM_FIRST), 0u);
        EXPECT_EQ(step(mode), PKCS15_E_INVALID_PARAMETER);
        EXPECT_EQ(cursor, 0u);
    }
    ASSERT_EQ(step(ENUM_FIRST), 0u);
    EXPECT_EQ(step(ENUM_CLOSE, 0, 9), PKCS15_E_INVALID_PARAMETER);  // only the right type can release the objects
    ObjectReference *place = reference.get();
    EXPECT_EQ(pkcs15_ScEnumerateObjects(test_card, context.get(), 0, ENUM_CLOSE, 0, &cursor, &place, nullptr), 0u);
    EXPECT_EQ(place, nullptr);
}

// ---- finding
// ---------------------------------------------------------------------------------------------------------

TEST_F(ObjectsTest, FindsTheFirstMatchPastWhatCannotBeRead) {
    open(true, {tlv_records,
                {},
                {record(1, private_key_object(8)), record(2, broken_object()), record(3, carried_key(9)),
                 record(4, private_key_object(9)), record(5, private_key_object(9))}});
    LogCapture log(5);
    EXPECT_EQ(find(9), 0u);
    EXPECT_EQ(reference->objectId, 4);
    const std::string unsupported = exception_line("Error", "0xE0200001");
    EXPECT_THAT(log.take(),
                ElementsAre(unsupported, unsupported, "Warn pkcs15_ScGetDFEntry() failed with 0xE0200001."));
    EXPECT_EQ(find(7), PKCS15_E_OBJECT_NOT_FOUND);
    const auto lines = log.take();
    EXPECT_THAT(std::vector(lines.end() - 3, lines.end()),
                ElementsAre(no_more, exception_line("Error", "0xE0200009"), exception_line("Error", "0xE0200003")));
    card->fail(3, 0x80100069);
    EXPECT_EQ(find(9), PKCS15_E_CARD_REMOVED);
    EXPECT_EQ(cardError, 0x80100069);
}

TEST_F(ObjectsTest, EveryTypeHasItsIdentifierExceptData) {
    card = std::make_unique<TokenCard>(false);
    const Octets auth_objects = pin_object(8) + auth_key_object(9, 9) + pin_object(9);
    const std::pair<const char *, Octets> files[] = {
        {"4000", private_key_object(9)}, {"4001", private_key_object(9)}, {"4002", private_key_object(9)},
        {"4003", secret_key_object(9)},  {"4004", certificate_object(9)}, {"4005", certificate_object(9)},
        {"4006", certificate_object(9)}, {"4007", data_object()},         {"4008", auth_objects}};
    for (uint8_t type = 0; type < 9; ++type)
        card->add_directory(type, files[type].first, {transparent, files[type].second});
    context = acquire(*card);
    for (uint32_t type = 0; type < 9; ++type) {
        const bool findable = type != PKCS15_DATA_OBJECTS;
        EXPECT_EQ(find(9, type), findable ? 0 : PKCS15_E_OBJECT_NOT_FOUND) << type;
        EXPECT_EQ(find(1, type), PKCS15_E_OBJECT_NOT_FOUND) << type;
    }
}

}  // namespace

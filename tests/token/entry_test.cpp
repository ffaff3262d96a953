// Entries of directory files: reading, writing, undoing and adding them.
#include "asn1/asn1_x680.h"
#include "token/pkcs15_scard_entry.h"
#include "token/sample_token.h"

namespace {

constexpr const char *select_keys = "scard_SelectFile null 3F0050154001 null";

PrivateKeyType *decode_key(const Octets &octets) {
    PrivateKeyType *key = nullptr;
    asn1_PrivateKeyType_d(octets.data(), octets.data() + octets.size(), 0, &key, 0);
    return key;
}

// A private key whose encoding has this many octets.
Octets key_of_size(size_t size) {
    for (size_t n = 1; n <= size; ++n)
        if (Octets octets = private_key_object(5, std::string(n, 'x')); octets.size() == size)
            return octets;
    throw std::invalid_argument("no label gives this size");
}

std::string update_call(const char *id, const char *mode, const Octets &octets) {
    return std::string("scardcmd_UpdateRecord ") + id + " 0 " + mode + ' ' + to_hex(octets.data(), octets.size()) +
           " 0";
}

struct TlvEntryTest : ::testing::Test {
    TlvEntryTest() {
        card.add_directory(PKCS15_PRIVATE_KEYS, "4001", {tlv_records});
        records() = {record(5, private_key_object(5)), hex("0000"), record(7, broken_object())};
        context = acquire(card);
    }
    std::vector<Octets> &records() {
        return card.file("4001").records;
    }
    // A reference as a walk without the cache would make it.
    Ref reference(uint8_t id, uint32_t state = ENTRY_CLOSED) {
        Ref made = token::new_reference(PKCS15_PRIVATE_KEYS, p15TLVDirectoryFileMethods);
        made->objectId = id;
        made->entryState = state;
        return made;
    }
    uint32_t get(const Ref &ref, uint32_t flags = 0) {
        object = nullptr;
        return pkcs15_ScGetDFEntry(test_card, context.get(), ref.get(), flags, &object, &cardError);
    }
    uint32_t release(const Ref &ref, uint32_t mode) {
        return pkcs15_ScReleaseDFEntry(test_card, context.get(), ref.get(), mode, object, &cardError);
    }
    uint32_t update(const Ref &ref, const Octets &octets) {
        PrivateKeyType *key = decode_key(octets);
        const uint32_t code = pkcs15_ScUpdateDFEntry(test_card, context.get(), ref.get(), key, &cardError);
        asn1_PrivateKeyType_free(key);
        return code;
    }

    TokenCard card{true};
    Context context;
    void *object = nullptr;
    uint32_t cardError = untouched;
};

TEST_F(TlvEntryTest, GetReadsByIdAndKeepsTheRecord) {
    const Ref ref = reference(5);
    ASSERT_EQ(get(ref, FLAG_USE_CACHE), 0u);  // no slot yet, so the card is asked
    EXPECT_THAT(card.take_calls(), ElementsAre(select_keys, "scardcmd_ReadRecord 5 0 0 0 234"));
    EXPECT_EQ(ref->entryState, ENTRY_READ);
    EXPECT_EQ(to_hex(ref->savedRecord, ref->savedLength), to_hex(records()[0].data(), records()[0].size()));
    EXPECT_EQ(release(ref, RELEASE_DISCARD), 0u);
    EXPECT_EQ(ref->entryState, ENTRY_CLOSED);
    ASSERT_EQ(get(ref, FLAG_USE_CACHE), 0u);
    release(ref, RELEASE_DISCARD);
    EXPECT_THAT(card.take_calls(), IsEmpty());
    ASSERT_EQ(get(ref, 0), 0u);
    release(ref, RELEASE_DISCARD);
    EXPECT_EQ(card.take_calls().size(), 2u);
}

TEST_F(TlvEntryTest, GetFailuresAndTheirLines) {
    LogCapture log;
    Ref ref = reference(7);
    EXPECT_EQ(get(ref), PKCS15_E_UNSUPPORTED);  // reported by the flavour and by the dispatcher
    EXPECT_THAT(log.take(), ElementsAre(exception_line("Error", "0xE0200001"), exception_line("Error", "0xE0200001")));
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(ref->entryState, ENTRY_CLOSED);
    ref = reference(6);
    EXPECT_EQ(get(ref), PKCS15_E_DEVICE_ERROR);
    EXPECT_EQ(cardError, sw_record_not_found);
    EXPECT_THAT(log.take(), ElementsAre("Warn Device error 0xE0116A83.", exception_line("Error", "0xE0200011")));
    card.fail(1, 0xE0116982);
    EXPECT_EQ(get(ref), PKCS15_E_SECURITY_STATUS);
    EXPECT_EQ(cardError, 0xE0116982);
    EXPECT_THAT(log.take(), ElementsAre("Warn Device error 0xE0116982.", exception_line("Error", "0xE0200026")));
    ref->objectType = PKCS15_CERTIFICATES;
    EXPECT_EQ(get(ref), PKCS15_E_FAILED);
    EXPECT_THAT(log.take(), ElementsAre(exception_line("Error", "0xE0200006")));
}

TEST_F(TlvEntryTest, ARecordThatContradictsItsHeaderEndsTheProcess) {
    const std::pair<Octets, const char *> cases[] = {{record(6, private_key_object(6)), "\\(data\\[0\\] == recId\\)"},
                                                     {hex("0501"), "\\(data\\[1\\] == datalen - 2\\)"},
                                                     {hex("05"), "\\(data\\[1\\] == datalen - 2\\)"}};
    for (const auto &[delivered, text] : cases) {
        ScriptedCard wrong;
        wrong.script = {{0}, {0, delivered}};
        EXPECT_DEATH(get(reference(5)), text);
    }
}

TEST_F(TlvEntryTest, UpdateWritesByNumberOrById) {
    const struct {
        uint32_t state;
        const char *mode;
    } cases[] = {{ENTRY_ALLOCATED, "4"}, {ENTRY_READ, "0"}, {ENTRY_WRITTEN, "0"}};
    const Octets key = private_key_object(5, "new");
    for (const auto &c : cases) {
        const Ref ref = reference(5, c.state);
        records() = {record(5, hex("3000")), {}, {}, {}, hex("0000")};
        EXPECT_EQ(update(ref, key), 0u);
        EXPECT_EQ(ref->entryState, ENTRY_WRITTEN);
        EXPECT_THAT(card.take_calls(), ElementsAre(select_keys, update_call("5", c.mode, record(5, key))));
        ASSERT_EQ(get(ref, FLAG_USE_CACHE), 0u);
        EXPECT_THAT(card.take_calls(), IsEmpty());
        release(ref, RELEASE_DISCARD);
    }
    const Ref closed = reference(5);
    EXPECT_EQ(update(closed, key), PKCS15_E_UNSUPPORTED);
    EXPECT_THAT(card.take_calls(), ElementsAre(select_keys));
}

TEST_F(TlvEntryTest, UpdateFailures) {
    LogCapture log;
    const auto twice = [](const char *code) { return std::vector<std::string>(2, exception_line("Error", code)); };
    const Ref ref = reference(5, ENTRY_READ);
    EXPECT_EQ(update(ref, {}), PKCS15_E_INVALID_PARAMETER);  // no object
    EXPECT_THAT(log.take(), ElementsAreArray(twice("0xE0200003")));
    EXPECT_THAT(card.take_calls(), IsEmpty());
    EXPECT_EQ(update(ref, key_of_size(233)), PKCS15_E_NO_CARD_SPACE);
    EXPECT_THAT(log.take(), ElementsAreArray(twice("0xE0200005")));
    EXPECT_THAT(card.take_calls(), ElementsAre(select_keys));
    EXPECT_EQ(update(ref, key_of_size(232)), 0u);
    EXPECT_EQ(records()[0].size(), 234u);
    log.take();
    const Ref refused = reference(9, ENTRY_READ);
    const Octets key = private_key_object(9);
    EXPECT_EQ(update(refused, key), PKCS15_E_DEVICE_ERROR);
    EXPECT_EQ(cardError, sw_record_not_found);
    EXPECT_EQ(refused->entryState, ENTRY_READ);
    EXPECT_EQ(log.take().size(), 3u);
    EXPECT_EQ(get(refused, FLAG_USE_CACHE), 0u);  // the cache shows what was intended
    release(refused, RELEASE_DISCARD);
    PrivateKeyType empty{};
    EXPECT_DEATH(pkcs15_ScUpdateDFEntry(test_card, context.get(), ref.get(), &empty, nullptr), "\\(l > 0\\)");
}

TEST_F(TlvEntryTest, ReleaseByModeAndState) {
    constexpr uint32_t unsupported = PKCS15_E_UNSUPPORTED;
    const Octets before = record(5, private_key_object(5)), after = record(5, private_key_object(5, "new"));
    const std::string commit = update_call("5", "0", after), number = update_call("5", "4", after),
                      erase = update_call("5", "0", hex("0000")), undo = update_call("5", "0", before);
    const struct {
        uint32_t mode, state, code;
        std::string write;  // empty: the card is not touched
    } cases[] = {{RELEASE_COMMIT, ENTRY_CLOSED, unsupported, ""},
                 {RELEASE_COMMIT, ENTRY_ALLOCATED, 0, number},
                 {RELEASE_COMMIT, ENTRY_READ, 0, commit},
                 {RELEASE_COMMIT, ENTRY_WRITTEN, 0, commit},
                 {RELEASE_COMMIT, 4, unsupported, ""},
                 {RELEASE_ERASE, ENTRY_CLOSED, unsupported, ""},
                 {RELEASE_ERASE, ENTRY_ALLOCATED, 0, ""},
                 {RELEASE_ERASE, ENTRY_READ, 0, erase},
                 {RELEASE_ERASE, ENTRY_WRITTEN, 0, erase},
                 {RELEASE_ERASE, 4, unsupported, ""},
                 {RELEASE_DISCARD, ENTRY_CLOSED, unsupported, ""},
                 {RELEASE_DISCARD, ENTRY_ALLOCATED, 0, ""},
                 {RELEASE_DISCARD, ENTRY_READ, 0, ""},
                 {RELEASE_DISCARD, ENTRY_WRITTEN, 0, undo},
                 {RELEASE_DISCARD, 4, unsupported, ""},
                 {0, ENTRY_READ, unsupported, ""},
                 {4, ENTRY_WRITTEN, unsupported, ""},
                 {0, ENTRY_ALLOCATED, unsupported, ""}};
    for (const auto &c : cases) {
        SCOPED_TRACE(testing::Message() << "mode " << c.mode << " state " << c.state);
        const Ref ref = reference(5, c.state);
        ref->savedLength = static_cast<uint32_t>(before.size());
        std::copy(before.begin(), before.end(), ref->savedRecord);
        records() = {before, hex("0000"), hex("0000"), hex("0000"), hex("0000")};
        object = decode_key(private_key_object(5, "new"));
        EXPECT_EQ(release(ref, c.mode), c.code);
        EXPECT_EQ(ref->entryState, ENTRY_CLOSED);
        if (c.write.empty())
            EXPECT_THAT(card.take_calls(), IsEmpty());
        else
            EXPECT_THAT(card.take_calls(), ElementsAre(select_keys, c.write));
    }
}

TEST_F(TlvEntryTest, AFailedReleaseClosesQuietlyAndKeepsTheCacheAsIntended) {
    const struct {
        uint32_t mode, state;
        unsigned call;
        size_t lines;  // the device error, and one for each function that reports
    } cases[] = {{RELEASE_ERASE, ENTRY_READ, 1, 2},
                 {RELEASE_ERASE, ENTRY_WRITTEN, 2, 2},
                 {RELEASE_DISCARD, ENTRY_WRITTEN, 2, 2},
                 {RELEASE_COMMIT, ENTRY_READ, 2, 3}};
    for (const auto &c : cases) {
        LogCapture log;
        const Ref ref = reference(5, c.state);
        ref->savedLength = 2;
        object = decode_key(private_key_object(5));
        card.fail(c.call, 0xE0116581);
        EXPECT_EQ(release(ref, c.mode), PKCS15_E_NO_CARD_SPACE);
        EXPECT_EQ(cardError, 0xE0116581);
        EXPECT_EQ(ref->entryState, ENTRY_CLOSED);
        EXPECT_EQ(log.take().size(), c.lines);
        EXPECT_EQ(ref->cacheSlot != nullptr, c.call == 2);
    }
    List_empty(context->odfEntries, [](void *entry) { asn1_PKCS15Objects_free(static_cast<PKCS15Objects *>(entry)); });
    const Ref ref = reference(5, ENTRY_READ);
    object = nullptr;
    EXPECT_EQ(release(ref, RELEASE_ERASE), PKCS15_E_FAILED);
}

TEST_F(TlvEntryTest, DiscardAfterTwoUpdatesRestoresTheFirstRecord) {
    const Octets before = records()[0];
    const Ref ref = reference(5);
    ASSERT_EQ(get(ref), 0u);
    EXPECT_EQ(update(ref, private_key_object(5, "one")), 0u);
    EXPECT_EQ(update(ref, private_key_object(5, "two")), 0u);
    EXPECT_NE(records()[0], before);
    EXPECT_EQ(release(ref, RELEASE_DISCARD), 0u);
    EXPECT_EQ(records()[0], before);
}

TEST(Dispatch, RefusesWhatTheReferenceCannotDo) {
    ObjectReference none{};
    void *object = nullptr;
    LogCapture log;
    for (ObjectReference *reference : {static_cast<ObjectReference *>(nullptr), &none}) {
        const uint32_t code = reference == nullptr ? PKCS15_E_INVALID_PARAMETER : PKCS15_E_UNSUPPORTED;
        EXPECT_EQ(pkcs15_ScGetDFEntry(test_card, nullptr, reference, 0, &object, nullptr), code);
        EXPECT_EQ(pkcs15_ScUpdateDFEntry(test_card, nullptr, reference, &object, nullptr), code);
        EXPECT_EQ(pkcs15_ScReleaseDFEntry(test_card, nullptr, reference, RELEASE_DISCARD, nullptr, nullptr), code);
    }
    EXPECT_EQ(log.take().size(), 6u);
    pkcs15_ObjectReferenceFree(nullptr);
}

TEST(BinaryEntry, ReadsFromMemoryAndCannotBeChanged) {
    TokenCard card(false);
    card.add_directory(PKCS15_PRIVATE_KEYS, "4001", {transparent, private_key_object(1) + private_key_object(2)});
    const Context context = acquire(card);
    const std::vector<Ref> refs = walk(context.get(), PKCS15_PRIVATE_KEYS, refresh);
    ASSERT_EQ(refs.size(), 2u);
    card.take_calls();
    for (uint32_t mode : {RELEASE_DISCARD, RELEASE_COMMIT, RELEASE_ERASE}) {
        void *object = nullptr;
        uint32_t cardError = untouched;
        EXPECT_EQ(pkcs15_ScGetDFEntry(test_card, context.get(), refs[1].get(), 0, &object, &cardError), 0u);
        EXPECT_EQ(pkcs15_ScUpdateDFEntry(test_card, context.get(), refs[1].get(), object, &cardError),
                  PKCS15_E_UNSUPPORTED);
        EXPECT_EQ(pkcs15_ScReleaseDFEntry(test_card, context.get(), refs[1].get(), mode, object, &cardError),
                  mode == RELEASE_DISCARD ? 0 : PKCS15_E_UNSUPPORTED);
        EXPECT_EQ(cardError, untouched);
    }
    EXPECT_THAT(card.take_calls(), IsEmpty());
}

// ---- allocation
// ------------------------------------------------------------------------------------------------------

struct Allocated {
    uint32_t code;
    Ref reference;
    bool has_object;
};

Allocated allocate_entry(const Context &context, uint32_t objectType, uint32_t selector, uint32_t *cardError) {
    ObjectReference *reference = nullptr;
    void *object = nullptr;
    const uint32_t code =
        pkcs15_ScAllocDFEntry(test_card, context.get(), objectType, selector, &reference, &object, cardError);
    if (object != nullptr)
        pkcs15_ScReleaseDFEntry(test_card, context.get(), reference, RELEASE_DISCARD, object, nullptr);
    return {code, Ref(reference), object != nullptr};
}

TEST(Allocation, TakesTheFirstFreeRecordOrAppendsOne) {
    const Octets taken = record(5, private_key_object(5));
    const std::string read = "scardcmd_ReadRecord 0 0 2 0 2";
    const struct {
        std::vector<Octets> records;
        uint8_t id;
        bool appends;
    } cases[] = {{{taken, hex("0000"), hex("0000")}, 2, false}, {{taken, taken, taken}, 4, true}, {{}, 1, true}};
    for (const auto &c : cases) {
        TokenCard card(true);
        card.add_directory(PKCS15_PRIVATE_KEYS, "4001", {tlv_records, {}, c.records});
        const Context context = acquire(card);
        uint32_t cardError = untouched;
        const Allocated made = allocate_entry(context, 0, 16, &cardError);
        EXPECT_EQ(made.code, 0u);
        EXPECT_TRUE(made.has_object);
        EXPECT_EQ(made.reference->objectId, c.id);
        EXPECT_EQ(made.reference->savedLength, 2u);
        EXPECT_EQ(cardError, 0u);
        std::vector<std::string> expected(c.id, read);
        expected.insert(expected.begin(), "scard_SelectFile null 3F0050154001 place");
        if (c.appends)
            expected.push_back("scardcmd_AppendRecord 0 0000 0");
        EXPECT_THAT(card.take_calls(), ElementsAreArray(expected));
    }
}

TEST(Allocation, MakesFiveKindsOfObjectsOnly) {
    TokenCard card(true);
    const char *files[] = {"4000", "4001", "4002", "4003", "4004", "4005", "4006", "4007", "4008"};
    for (uint8_t type = 0; type < 9; ++type)
        card.add_directory(type, files[type], {tlv_records, {}, {hex("0000")}});
    const Context context = acquire(card);
    const std::pair<uint32_t, uint32_t> possible[] = {{0, 16}, {1, 16}, {3, 4}, {4, 16}, {7, 16}};
    for (uint32_t type = 0; type < 9; ++type) {
        for (uint32_t selector : {0u, 2u, 4u, 16u}) {
            const Allocated made = allocate_entry(context, type, selector, nullptr);
            const bool expected =
                std::find(possible, std::end(possible), std::pair{type, selector}) != std::end(possible);
            EXPECT_EQ(made.code, expected ? 0 : PKCS15_E_INVALID_PARAMETER) << type << ' ' << selector;
            EXPECT_EQ(made.has_object, expected);
            EXPECT_NE(made.reference, nullptr);
        }
    }
}

TEST(Allocation, Failures) {
    const std::string mismatch =
        "Warn TokenInfo.recordInfo and physical file type do not match. Using physical file type.";
    const Octets taken = hex("0500");
    const struct {
        const char *what;
        bool declared;
        FakeFile file;
        unsigned failing_call;
        uint32_t code;
        bool warns;
    } cases[] = {
        {"transparent", false, {transparent}, 0, PKCS15_E_UNSUPPORTED, false},
        {"transparent, though declared records", true, {transparent}, 0, PKCS15_E_UNSUPPORTED, true},
        {"variable records", true, {variable_records}, 0, PKCS15_E_UNSUPPORTED, true},
        {"not to be selected", true, {tlv_records}, 1, PKCS15_E_FAILED, false},
        {"not to be read", true, {tlv_records, {}, {taken}}, 2, PKCS15_E_SECURITY_STATUS, false},
        {"one octet", true, {tlv_records, {}, {hex("05")}}, 0, PKCS15_E_UNSUPPORTED, false},
        {"full", true, {tlv_records, {}, {taken}, 1}, 0, PKCS15_E_NO_CARD_SPACE, false},
        {"more records than ids",
         true,
         {tlv_records, {}, std::vector<Octets>(256, taken), 300},
         0,
         PKCS15_E_NO_CARD_SPACE,
         false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        TokenCard card(c.declared);
        card.add_directory(PKCS15_PRIVATE_KEYS, "4001", c.file);
        const Context context = acquire(card);
        LogCapture log;
        uint32_t cardError = untouched;
        card.fail(c.failing_call, 0xE0116982);
        const Allocated made = allocate_entry(context, 0, 16, &cardError);
        EXPECT_EQ(made.code, c.code);
        EXPECT_EQ(made.reference, nullptr);
        EXPECT_EQ(log.take().front() == mismatch, c.warns);
    }
    TokenCard card(true);
    EXPECT_EQ(allocate_entry(acquire(card), 0, 16, nullptr).code, PKCS15_E_FAILED);
}

}  // namespace

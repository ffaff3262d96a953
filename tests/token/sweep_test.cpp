// Every call of the card, and every allocation, fails once in each flow, alone and with all later ones. Nothing may
// crash or leak (the sanitizers watch), no flow may claim a success that it did not have, and places are as promised.
#include <functional>

#include "asn1/asn1_x680.h"
#include "support/alloc_fault.h"
#include "token/sample_token.h"

namespace {

// A card with a token of either kind of directory files, opened.
struct World {
    explicit World(bool records) : card(records) {
        add(PKCS15_PRIVATE_KEYS, "4000", records,
            {private_key_object(1), private_key_object(2), private_key_object(3)});
        add(PKCS15_SECRET_KEYS, "4003", records, {secret_key_object(0x32), secret_key_object(0x33)});
        add(PKCS15_AUTH_OBJECTS, "4008", records, {pin_object(1), pin_object(2), auth_key_object(3, 0x33)});
        if (records)
            card.file("4000").records.push_back(hex("0000"));
        card.files["3F002F00"] = {
            records ? variable_records : transparent, dir_record(1) + dir_record(2), {dir_record(1), dir_record(2)}};
        context = acquire(card);
    }
    void add(uint8_t objectType, const char *fileId, bool records, const std::vector<Octets> &objects) {
        FakeFile file{records ? tlv_records : transparent};
        for (const Octets &object : objects) {
            file.content = file.content + object;
            file.records.push_back(record(static_cast<uint8_t>(file.records.size() + 1), object));
        }
        card.add_directory(objectType, fileId, file);
    }

    TokenCard card;
    Context context;
};

// What a flow reports, and how much it delivered.
struct Outcome {
    uint32_t code;
    int found;
};

Outcome run_acquire(World &) {
    Context opened;
    const uint32_t code = acquire(opened, nullptr);
    EXPECT_EQ(code == 0, opened != nullptr);
    return {code, opened != nullptr ? List_len(opened->authObjects) : 0};
}

Outcome run_walk(World &world) {
    uintptr_t cursor = 0;
    for (int found = 0;; ++found) {
        ObjectReference *reference = nullptr;
        const uint32_t code =
            pkcs15_ScEnumerateObjects(test_card, world.context.get(), PKCS15_PRIVATE_KEYS,
                                      found == 0 ? ENUM_FIRST : ENUM_NEXT, refresh, &cursor, &reference, nullptr);
        EXPECT_EQ(code == 0, reference != nullptr);
        pkcs15_ObjectReferenceFree(reference);
        if (code != 0) {
            EXPECT_EQ(cursor, 0u);
            return {code == PKCS15_S_END_OF_ENUMERATION ? 0 : code, found};
        }
    }
}

Outcome run_find(World &world) {
    uint8_t octet = 3;
    const asn1_OctetString identifier = {1, &octet};
    ObjectReference *reference = nullptr;
    const uint32_t code = pkcs15_ScFindObject(test_card, world.context.get(), PKCS15_PRIVATE_KEYS, &identifier, refresh,
                                              &reference, nullptr);
    EXPECT_EQ(code == 0, reference != nullptr);
    const Ref owner(reference);
    EXPECT_TRUE(owner == nullptr || owner->objectId == (owner->updateEntry != nullptr ? 3 : 0));
    return {code, code == 0};
}

// Reads the first object past the cache, then releases it in this mode.
template <uint32_t Mode, bool Writes>
Outcome run_change(World &world) {
    uintptr_t cursor = 0;
    ObjectReference *found = nullptr;
    uint32_t code = pkcs15_ScEnumerateObjects(test_card, world.context.get(), PKCS15_PRIVATE_KEYS, ENUM_FIRST, refresh,
                                              &cursor, &found, nullptr);
    if (code != 0)
        return {code, 0};
    const Ref owner(found);
    pkcs15_ScEnumerateObjects(test_card, world.context.get(), PKCS15_PRIVATE_KEYS, ENUM_CLOSE, 0, &cursor, nullptr,
                              nullptr);
    void *object = nullptr;
    code = pkcs15_ScGetDFEntry(test_card, world.context.get(), found, 0, &object, nullptr);
    EXPECT_EQ(code == 0, object != nullptr);
    if (code != 0)
        return {code, 0};
    if (Writes)
        code = pkcs15_ScUpdateDFEntry(test_card, world.context.get(), found, object, nullptr);
    const uint32_t released = pkcs15_ScReleaseDFEntry(test_card, world.context.get(), found, Mode, object, nullptr);
    return {code != 0 ? code : released, 1};
}

Outcome run_allocate(World &world) {
    ObjectReference *reference = nullptr;
    void *object = nullptr;
    uint32_t code =
        pkcs15_ScAllocDFEntry(test_card, world.context.get(), PKCS15_PRIVATE_KEYS, 16, &reference, &object, nullptr);
    const Ref owner(reference);
    EXPECT_EQ(code == 0, object != nullptr);
    if (code == 0)
        code = pkcs15_ScReleaseDFEntry(test_card, world.context.get(), reference, RELEASE_COMMIT, object, nullptr);
    return {code, code == 0};
}

Outcome run_directories(World &) {
    Octets aid = hex("A000000063000102");
    const asn1_OctetString filter[] = {{static_cast<uint32_t>(aid.size()), aid.data()}, {0, nullptr}};
    uintptr_t cursor = 0;
    DIRRecord *found = nullptr;
    uint32_t code = pkcs15_ScEnumerateDirectories(test_card, ENUM_FIRST, filter, &cursor, &found, nullptr);
    EXPECT_EQ(code == 0, found != nullptr);
    asn1_DIRRecord_free(found);
    if (code == 0) {
        code = pkcs15_ScEnumerateDirectories(test_card, ENUM_CLOSE, filter, &cursor, nullptr, nullptr);
        return {code, 1};
    }
    EXPECT_EQ(cursor, 0u);
    // A card whose EF.DIR cannot be selected has no directories.
    return {code == PKCS15_S_END_OF_ENUMERATION ? 0 : code, 0};
}

void free_entry(void *entry) {
    asn1_PKCS15Objects_free(static_cast<PKCS15Objects *>(entry));
}

Outcome run_odf(World &world) {
    List *list = nullptr;
    const uint32_t code = pkcs15_ScReadODF(test_card, world.context.get(), &list, nullptr);
    EXPECT_EQ(code == 0, list != nullptr);
    const int found = list != nullptr ? List_len(list) : 0;
    List_free(list, free_entry);
    return {code, found};
}

template <auto Create, auto Free>
Outcome run_create(World &) {
    auto *object = Create();
    Free(object);
    return {object != nullptr ? 0 : PKCS15_E_NO_MEMORY, object != nullptr};
}

SecretKeyType *create_secret_key() {
    return pkcs15_CreateSecretKey(2);
}

ObjectValue *create_value() {
    uint8_t octets[] = {0x4B, 0x01};
    const asn1_OctetString path = {2, octets};
    return pkcs15_CreateObjectValue(&path, 1, 2);
}

void free_rules(void *rule) {
    asn1_AccessControlRule_free(static_cast<AccessControlRule *>(rule));
}

Outcome run_rules(World &) {
    uint8_t octet = 7;
    Identifier authId = {1, &octet};
    CommonObjectAttributes attributes{};
    attributes.authId = &authId;
    List *rules = nullptr;
    uint32_t code = pkcs15_GetObjectACRs(&attributes, &rules);
    if (code == 0) {
        attributes.accessControlRules = rules;
        List *copy = nullptr;
        code = pkcs15_GetObjectACRs(&attributes, &copy);
        EXPECT_EQ(code == 0, copy != nullptr);
        List_free(copy, free_rules);
    }
    List_free(rules, free_rules);
    return {code, code == 0};
}

struct Flow {
    const char *name;
    std::function<Outcome(World &)> run;
    bool with_records = true;
    bool with_transparent = true;
    bool passes_over = false;  ///< An object that cannot be decoded is passed over, which may cost nothing.
};

const Flow flows[] = {
    {"acquire", run_acquire, true, true, true},
    {"walk", run_walk},
    {"find", run_find, true, true, true},
    {"get", run_change<RELEASE_DISCARD, false>},
    {"commit", run_change<RELEASE_COMMIT, false>, true, false},
    {"erase", run_change<RELEASE_ERASE, false>, true, false},
    {"update, commit", run_change<RELEASE_COMMIT, true>, true, false},
    {"update, discard", run_change<RELEASE_DISCARD, true>, true, false},
    {"allocate", run_allocate, true, false},
    {"directories", run_directories},
    {"object directory", run_odf},
    {"default record", run_create<pkcs15_GetDefaultDIR, asn1_DIRRecord_free>},
    {"data object", run_create<pkcs15_CreateDataType, asn1_DataType_free>},
    {"certificate", run_create<pkcs15_CreateX509CertificateType, asn1_CertificateType_free>},
    {"secret key", run_create<create_secret_key, asn1_SecretKeyType_free>},
    {"private key", run_create<pkcs15_CreatePrivateRSAKey, asn1_PrivateKeyType_free>},
    {"public key", run_create<pkcs15_CreatePublicRSAKey, asn1_PublicKeyType_free>},
    {"value", run_create<create_value, asn1_ObjectValue_free>},
    {"access rules", run_rules},
};

// Runs a flow with fault 1, 2, 3 ... until none is left. `arm` sets the fault, `disarm` tells whether it struck.
// `may_cost_nothing` marks a fault behind which a flow may still deliver everything.
void sweep(const Flow &flow, bool records, bool may_cost_nothing, const std::function<void(World &, unsigned)> &arm,
           const std::function<bool(World &)> &disarm) {
    World sound(records);
    const Outcome full = flow.run(sound);
    ASSERT_EQ(full.code, 0u);
    for (unsigned n = 1;; ++n) {
        SCOPED_TRACE(testing::Message() << flow.name << (records ? " records" : " transparent") << " fault " << n);
        ASSERT_LT(n, 1000u);
        World world(records);
        arm(world, n);
        const Outcome outcome = flow.run(world);
        if (!disarm(world)) {
            EXPECT_EQ(outcome.code, 0u);
            EXPECT_EQ(outcome.found, full.found);
            return;
        }
        EXPECT_TRUE(may_cost_nothing || outcome.code != 0 || outcome.found < full.found) << "false success";
        EXPECT_LE(outcome.found, full.found);
        EXPECT_EQ(flow.run(world).code, 0u) << "the context is spoilt";
    }
}

void sweep_both_kinds(const Flow &flow, bool may_cost_nothing, const std::function<void(World &, unsigned)> &arm,
                      const std::function<bool(World &)> &disarm) {
    if (flow.with_records)
        sweep(flow, true, may_cost_nothing, arm, disarm);
    if (flow.with_transparent)
        sweep(flow, false, may_cost_nothing, arm, disarm);
}

class Sweep : public ::testing::TestWithParam<bool> {};  // whether all later ones fail as well

TEST_P(Sweep, NthCardCallFails) {
    // A walk takes "record not found" for its end.
    for (const Flow &flow : flows)
        for (uint32_t code : {sw_file_not_found, sw_record_not_found, 0x80100069u, 0xA0116300u, 0xE0116982u})
            sweep_both_kinds(
                flow, code == sw_record_not_found,
                [&](World &world, unsigned n) { world.card.fail(n, code, GetParam()); },
                [](World &world) { return world.card.stop_failing(); });
}

TEST_P(Sweep, NthAllocationFails) {
    for (const Flow &flow : flows)
        sweep_both_kinds(
            flow, flow.passes_over, [&](World &, unsigned n) { alloc_fault_arm(n, GetParam()); },
            [](World &) { return alloc_fault_disarm(); });
}

INSTANTIATE_TEST_SUITE_P(AloneAndWithAllLater, Sweep, ::testing::Bool());

}  // namespace

// Which script pairs are genuine: each part of them wrong, each bit, each cut; what nobody looks at; large files.
#include <algorithm>
#include <ctime>
#include <functional>

#include "token/init_card.h"

namespace {

using Genuine = InitTokenTest;

const char *const no_pkcs7 = "Debug ASN.1 decoding of PKCS#7 structure failed.";
const char *const no_signer = "Debug Could not retrieve signerInfo from PKCS#7 structure.";
const char *const no_digest = "Debug Could not retrieve message digest from PKCS#7 structure.";
const char *const bad_digest = "Debug Invalid message digest.";
const char *const no_version = "Debug Could not retrieve signing description from PKCS#7 structure.";
const char *const bad_version = "Debug Invalid signing description.";
const char *const other_version = "Debug Script file version is incompatible with API version.";
const char *const no_certificate = "Debug ASN.1 decoding of signer certificate failed.";
const char *const bad_signature = "Warn Invalid PKCS#7 signature.";
const char *const not_certified = "Warn Signature verification failed.";

const Octets null = hex("0500");

Octets right_digest(const SignedScript &pair) {
    return der(0x04, {sha1_of(pair.script)});
}

Octets version_text(const char *characters) {
    return der(0x16, {text(characters)});
}

void set_key(SignedScript &pair, const Octets &publicKey) {
    pair.certificate = make_certificate(publicKey, SigningKey::root);
}

/// A signer who has signed nothing.
Octets other_signer(const Octets &name) {
    const Octets algorithm = hex("300306012A");
    return der(0x30, {hex("020101"), der(0x30, {name, hex("020101")}), algorithm, algorithm, hex("0400")});
}

TEST_F(Genuine, RefusesWhatIsNot) {
    const struct {
        const char *name;
        const char *message;
        void (*change)(SignedScript &pair);
    } cases[] = {
        {"no signer", no_signer, [](SignedScript &pair) { pair.with_signer = false; }},
        {"no attributes", no_digest, [](SignedScript &pair) { pair.with_attributes = false; }},
        {"an empty set of attributes", no_digest, [](SignedScript &pair) { pair.attributes.clear(); }},
        {"another script", bad_digest, [](SignedScript &pair) { pair.script[0] ^= 1; }},
        {"the last digest counts", bad_digest,
         [](SignedScript &pair) { pair.attributes.push_back(digest_attribute(sha1_of({1}))); }},
        {"its first value counts", bad_digest,
         [](SignedScript &pair) {
             pair.attributes[0] = attribute(message_digest_oid, der(0x04, {sha1_of({1})}) + right_digest(pair));
         }},
        {"a digest without a value", bad_digest,
         [](SignedScript &pair) { pair.attributes[0] = attribute(message_digest_oid, {}); }},
        {"a digest of another type", bad_digest,
         [](SignedScript &pair) {
             pair.attributes[0] = attribute(message_digest_oid, der(0x0C, {sha1_of(pair.script)}));
         }},
        {"a longer digest", bad_digest,
         [](SignedScript &pair) {
             pair.attributes[0] = attribute(message_digest_oid, der(0x04, {sha1_of(pair.script) + Octets{0}}));
         }},
        {"a digest with its length in the long form", bad_digest,
         [](SignedScript &pair) {
             pair.attributes[0] = attribute(message_digest_oid, hex("048114") + sha1_of(pair.script));
         }},
        {"no version", no_version, [](SignedScript &pair) { pair.attributes.pop_back(); }},
        {"a version without a value", bad_version,
         [](SignedScript &pair) { pair.attributes[1] = attribute(signing_description_oid, {}); }},
        {"a version of another type", bad_version,
         [](SignedScript &pair) { pair.attributes[1] = attribute(signing_description_oid, null); }},
        {"another build", other_version,
         [](SignedScript &pair) { pair.attributes[1] = version_attribute("Tessor API V5.0 (Build 8)"); }},
        {"a blank behind the version", other_version,
         [](SignedScript &pair) { pair.attributes[1] = version_attribute(std::string(right_version) + " "); }},
        {"the version cut short", other_version,
         [](SignedScript &pair) { pair.attributes[1] = version_attribute(std::string(right_version, 24)); }},
        {"an empty version", other_version, [](SignedScript &pair) { pair.attributes[1] = version_attribute(""); }},
        {"the last version counts", other_version,
         [](SignedScript &pair) { pair.attributes.push_back(version_attribute("Tessor API V5.0 (Build 8)")); }},
        {"no certificates", no_certificate, [](SignedScript &pair) { pair.with_certificates = false; }},
        {"an empty set of certificates", no_certificate, [](SignedScript &pair) { pair.certificate = Octets(); }},
        {"no certificate", no_certificate, [](SignedScript &pair) { pair.certificate = hex("3000"); }},
        {"the first certificate counts", no_certificate,
         [](SignedScript &pair) {
             pair.certificate = null + make_certificate(public_key(SigningKey::signer), SigningKey::root);
         }},
        {"somebody else's signature", bad_signature, [](SignedScript &pair) { pair.signed_by = SigningKey::stranger; }},
        {"no key", bad_signature, [](SignedScript &pair) { set_key(pair, {}); }},
        {"a key that is none", bad_signature, [](SignedScript &pair) { set_key(pair, null); }},
        {"a modulus of 0", bad_signature, [](SignedScript &pair) { set_key(pair, hex("3006020100020103")); }},
        {"a key longer than any", bad_signature,
         [](SignedScript &pair) {
             set_key(pair, der(0x30, {der(0x02, {Octets(1026, 0x7F)}), hex("020103")}));
         }},
        {"a certificate of the signer's own", not_certified,
         [](SignedScript &pair) { pair.certified_by = SigningKey::signer; }},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        SignedScript pair;
        c.change(pair);
        write(pair);
        expect_refused(c.message);
    }
}

/// As many copies as fit.
Octets filled(const Octets &unit, size_t octets) {
    Octets all;
    all.reserve(octets);
    while (all.size() + unit.size() <= octets)
        all.insert(all.end(), unit.begin(), unit.end());
    return all;
}

constexpr size_t large = 10'000'000;
// Under a sanitizer each block costs more than it holds, and each growth of a list a copy.
#ifdef __has_feature
constexpr size_t of_many = __has_feature(address_sanitizer) ? 20'000 : 2'000'000;
#else
constexpr size_t of_many = 2'000'000;
#endif

TEST_F(Genuine, RefusesOtherContent) {
    write(SignedScript());
    const std::pair<const char *, const char *> files[] = {
        {"", no_pkcs7},
        {"30", no_pkcs7},
        {"3000", no_pkcs7},
        {"300B06092A864886F70D010702", no_signer},              // signed data without any
        {"300D06092A864886F70D010702A000", no_pkcs7},           // with less than any
        {"300B06092A864886F70D010701", no_signer},              // data
        {"301106092A864886F70D010701A00404024142", no_signer},  //
        {"301106092A864886F70D010703A00430023000", no_signer},  // enveloped
        {"302606092A864886F70D010706A0193017020100301206092A864886F70D01070130050603550403", no_signer},  // encrypted
        {"300906042A030405A00105", no_pkcs7},
        {"300A06042A030405A0020500", no_signer},  // a type of somebody's
    };
    for (const auto &[file, message] : files) {
        SCOPED_TRACE(file);
        write(".sig", hex(file));
        expect_refused(message);
    }
    const Octets data_begins = hex("308006092A864886F70D010701A080");
    for (const Octets &file :
         {Octets(large, 0), filled({0x30}, of_many), filled({0x30, 0x80}, of_many),
          data_begins + filled({0x24, 0x80}, of_many), data_begins + filled({0x04, 0x80}, of_many)}) {
        write(".sig", file);
        expect_refused(no_pkcs7);
    }
}

TEST_F(Genuine, ComparesDigestAndVersionToTheLastOctet) {
    const SignedScript good;
    Octets digest = sha1_of(good.script);
    for (uint8_t &octet : digest) {
        SignedScript pair;
        octet ^= 1;
        pair.attributes[0] = digest_attribute(digest);
        octet ^= 1;
        write(pair);
        expect_refused(bad_digest);
    }
    std::string version = right_version;
    for (char &character : version) {
        SignedScript pair;
        character ^= 1;
        pair.attributes[1] = version_attribute(version);
        character ^= 1;
        write(pair);
        expect_refused(other_version);
    }
}

// What the proof does not rest on may be anything that can be read.
TEST_F(Genuine, NobodyLooksAtTheRest) {
    const struct {
        const char *name;
        void (*change)(SignedScript &pair);
    } cases[] = {
        {"other algorithms", [](SignedScript &pair) { pair.digest_algorithms = hex("300306012A300506012A0500"); }},
        {"content",
         [](SignedScript &pair) {
             pair.inner_content = der(0xA0, {der(0x04, {{1, 2, 3}})});
         }},
        {"certificates", [](SignedScript &pair) { pair.more_certificates = null; }},
        {"revocation lists", [](SignedScript &pair) { pair.crls = der(0xA1, {null}); }},
        {"unsigned attributes",
         [](SignedScript &pair) { pair.unsigned_attributes = der(0xA1, {digest_attribute(sha1_of({1}))}); }},
        {"signers", [](SignedScript &pair) { pair.more_signers = other_signer(hex("30023100")); }},
        {"octets behind the message", [](SignedScript &pair) { pair.surplus = hex("FF00"); }},
        {"an earlier digest",
         [](SignedScript &pair) { pair.attributes.insert(pair.attributes.begin(), digest_attribute(sha1_of({1}))); }},
        {"an earlier version",
         [](SignedScript &pair) { pair.attributes.insert(pair.attributes.begin(), version_attribute("V4")); }},
        {"a second value",
         [](SignedScript &pair) {
             pair.attributes = {attribute(message_digest_oid, right_digest(pair) + null),
                                attribute(signing_description_oid, version_text(right_version) + version_text("V6"))};
         }},
        {"an attribute of another type",
         [](SignedScript &pair) { pair.attributes.insert(pair.attributes.begin(), attribute("06012A", null)); }},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        SignedScript pair;
        c.change(pair);
        write(pair);
        EXPECT_EQ(init(), 0u);
        EXPECT_GT(card_.take_calls().size(), untouched_card.size());
    }
}

/// Where an element stands: its first octet, that of its content, the one behind it.
struct Place {
    size_t begin, content, end;
};

Place element_at(const Octets &octets, size_t begin) {
    size_t content = begin + 2, length = octets.at(begin + 1);
    if (length > 0x80) {
        const size_t behind = content + length - 0x80;
        for (length = 0; content < behind; ++content)
            length = length << 8 | octets.at(content);
    }
    return {begin, content, content + length};
}

/// The element that these indexes lead to, from the outermost inwards.
Place element(const Octets &octets, const std::vector<unsigned> &path) {
    Place place = element_at(octets, 0);
    for (const unsigned index : path) {
        place = element_at(octets, place.content);
        for (unsigned i = 0; i < index; ++i)
            place = element_at(octets, place.end);
    }
    return place;
}

/// Overwrites octets of a file in place, which costs far less than writing it anew.
class Patch {
  public:
    explicit Patch(const std::string &file) : stream_(file, std::ios::in | std::ios::out | std::ios::binary) {}
    void put(size_t at, uint8_t octet) {
        stream_.seekp(static_cast<std::streamoff>(at)).put(static_cast<char>(octet)).flush();
    }

  private:
    std::fstream stream_;
};

/// A signature file and where in it nothing is proven.
struct Unproven {
    explicit Unproven(const Octets &octets) : file(octets) {}

    /// Can be read whatever it is: versions, number and name of the signer's certificate.
    bool may_be_anything(size_t at) const {
        for (const auto &path : any_value)
            if (const Place place = element(file, path); place.content <= at && at < place.end)
                return true;
        return false;
    }
    /// Nobody looks at it, but it must be readable.
    bool is_ignored(size_t at) const {
        for (const auto &path : ignored)
            if (const Place place = element(file, path); place.begin <= at && at < place.end)
                return true;
        return false;
    }
    /// How what is read is written: a SEQUENCE or SET may be of primitive form, and a SEQUENCE may claim to be longer
    /// than it is, as long as that lies within what is around it. What is signed is encoded anew.
    bool is_form(size_t at, unsigned bit) const {
        for (const auto &path : read_elements)
            if (at == element(file, path).begin && bit == 5)
                return true;
        const Place first_attribute = element(file, {1, 0, 4, 0, 3, 0});
        if (at != first_attribute.begin + 1)
            return false;
        const size_t length = file[at] ^ 1u << bit;
        return length > file[at] && first_attribute.content + length <= element(file, {1, 0, 4, 0, 3}).end;
    }

    using Paths = std::vector<std::vector<unsigned>>;
    const Paths any_value = {
        {1, 0, 0},                    // version of the message
        {1, 0, 4, 0, 0},              // version of the signer
        {1, 0, 4, 0, 1, 0, 0, 0, 1},  // name
        {1, 0, 4, 0, 1, 1},           // number
    };
    const Paths ignored = {
        {1, 0, 0},        // version of the message
        {1, 0, 1},        // its digest algorithms
        {1, 0, 2},        // its content
        {1, 0, 3, 0, 1},  // algorithm of the certificate's signature, which the certificate names once more inside
        {1, 0, 4, 0, 0},  // version of the signer
        {1, 0, 4, 0, 1},  // issuer and number of the signer's certificate
        {1, 0, 4, 0, 2},  // digest algorithm
        {1, 0, 4, 0, 4},  // algorithm of the signature
    };
    const Paths read_elements = {
        {},                     // the file
        {1, 0},                 // message
        {1, 0, 3, 0},           // certificate, but for its signed part
        {1, 0, 4},              // signers
        {1, 0, 4, 0},           // signer
        {1, 0, 4, 0, 3, 0},     // an attribute and its values
        {1, 0, 4, 0, 3, 0, 1},  //
        {1, 0, 4, 0, 3, 1},     // another
        {1, 0, 4, 0, 3, 1, 1},  //
    };
    const Octets &file;
};

TEST_F(Genuine, RefusesEveryOtherBit) {
    const SignedScript pair;
    const Octets good = pair.signature();
    const Unproven unproven(good);
    write(pair);
    Patch signature(directory_.file("InitToken1A2B.sig"));
    for (size_t i = 0; i < good.size(); ++i) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            signature.put(i, static_cast<uint8_t>(good[i] ^ 1u << bit));
            const uint32_t code = init();
            const Lines calls = card_.take_calls();
            if (unproven.may_be_anything(i) || unproven.is_form(i, bit)) {
                EXPECT_EQ(code, 0u) << i << " " << bit;
            } else if (!unproven.is_ignored(i)) {
                EXPECT_EQ(code, PKCS15_E_FAILED) << i << " " << bit;
            }
            if (code != 0) {
                EXPECT_EQ(calls, untouched_card) << i << " " << bit;
            }
        }
        signature.put(i, good[i]);
    }
    Patch script(directory_.file("InitToken1A2B.cpd"));
    for (size_t i = 0; i < pair.script.size(); ++i) {
        for (unsigned bit = 0; bit < 8; ++bit) {
            script.put(i, static_cast<uint8_t>(pair.script[i] ^ 1u << bit));
            expect_refused(bad_digest);
        }
        script.put(i, pair.script[i]);
    }
    EXPECT_EQ(init(), 0u) << "the last one is as it was";
}

TEST_F(Genuine, RefusesEveryCut) {
    const SignedScript pair;
    const Octets good = pair.signature();
    write(pair);
    for (size_t length = 0; length < good.size(); ++length) {
        SCOPED_TRACE(length);
        write(".sig", Octets(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length)));
        expect_refused(no_pkcs7);
    }
    write(".sig", good);
    for (size_t length = 0; length < pair.script.size(); ++length) {
        write(".cpd", Octets(pair.script.begin(), pair.script.begin() + static_cast<std::ptrdiff_t>(length)));
        expect_refused(bad_digest);
    }
    write(".cpd", pair.script + Octets{0});
    expect_refused(bad_digest);
}

// Size and number are no reason to refuse, nor to take long: what is not linear takes minutes.
TEST_F(Genuine, MayBeLarge) {
    const Octets name = der(0x30, {filled(hex("3100"), of_many)});
    const Octets empty_attribute = hex("300506012A3100");
    const struct {
        const char *name;
        std::function<void(SignedScript &pair)> change;
    } cases[] = {
        {"a script",
         [](SignedScript &pair) {
             pair.script = Octets(large, 0x5A);
             pair.attributes[0] = digest_attribute(sha1_of(pair.script));
         }},
        {"content", [](SignedScript &pair) { pair.inner_content = der(0xA0, {der(0x04, {Octets(large, 0x5A)})}); }},
        {"algorithms", [](SignedScript &pair) { pair.digest_algorithms = filled(hex("300306012A"), of_many); }},
        {"certificates", [](SignedScript &pair) { pair.more_certificates = filled(null, of_many); }},
        {"revocation lists", [](SignedScript &pair) { pair.crls = der(0xA1, {filled(null, of_many)}); }},
        {"attributes", [&](SignedScript &pair) { pair.attributes.push_back(filled(empty_attribute, of_many)); }},
        {"values",
         [](SignedScript &pair) {
             pair.attributes[0] = attribute(message_digest_oid, right_digest(pair) + filled(null, of_many));
         }},
        {"unsigned attributes",
         [&](SignedScript &pair) { pair.unsigned_attributes = der(0xA1, {filled(empty_attribute, of_many)}); }},
        {"signers", [](SignedScript &pair) { pair.more_signers = filled(other_signer(hex("30023100")), of_many); }},
        {"a signer's name", [&](SignedScript &pair) { pair.more_signers = other_signer(name); }},
        {"a name in the certificate",
         [&](SignedScript &pair) {
             pair.certificate =
                 make_certificate(public_key(SigningKey::signer), SigningKey::root, filled(hex("3100"), of_many));
         }},
        {"extensions",
         [](SignedScript &pair) {
             pair.certificate = make_certificate(public_key(SigningKey::signer), SigningKey::root, {},
                                                 der(0xA3, {der(0x30, {filled(hex("300506012A0400"), of_many)})}));
         }},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        SignedScript pair;
        c.change(pair);
        write(pair);
        const std::clock_t begin = std::clock();
        EXPECT_EQ(init(), 0u);
        EXPECT_LT(std::clock() - begin, 30 * CLOCKS_PER_SEC);
        card_.take_calls();
        log_.take();
        pair.signed_by = SigningKey::stranger;
        write(".sig", pair.signature());
        expect_refused(bad_signature);
    }
}

}  // namespace

// Image files: what is read, what is refused and how, and what is left on the disk.
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "hex.h"
#include "support/temp_directory.h"
#include "virtualcard/card.h"

namespace {

using virtualcard::CardImage;
using virtualcard::formatImage;
using virtualcard::ImageError;
using virtualcard::parseImage;
namespace fs = std::filesystem;

// The text of an image whose root holds `files`.
std::string withFiles(const std::string &files) {
    return R"({"format":"zelmo virtual card 1","root":{"fid":"3F00","kind":"df","files":[)" + files + "]}}";
}

// The text of an image with these secrets.
std::string withSecrets(const std::string &kind, const std::string &secrets) {
    return R"({"format":"zelmo virtual card 1","root":{"fid":"3F00","kind":"df"},")" + kind + "\":[" + secrets + "]}";
}

std::string errorOf(const std::string &text) {
    try {
        parseImage(text, "x.card");
    } catch (const ImageError &error) {
        return error.what();
    }
    return "accepted";
}

struct Refusal {
    std::string text;
    std::string message;
};

std::string nestedDfs(size_t depth) {
    std::string text;
    for (size_t i = 0; i < depth; i++)
        text = R"({"fid":")" + std::string(i % 2 ? "5001" : "5002") + R"(","kind":"df","files":[)" + text + "]}";
    return withFiles(text);
}

std::string nestedConditions(size_t depth) {
    std::string text = "\"always\"";
    for (size_t i = 1; i < depth; i++)
        text = R"({"or":[)" + text + "]}";
    return withFiles(R"({"fid":"2F00","kind":"transparent","access":{"read":)" + text + "}}");
}

TEST(ImageReader, RefusesWithFilePathAndReason) {
    const std::string ef = R"({"fid":"2F00","kind":"transparent")";
    const std::string recs = R"({"fid":"2F00","kind":"tlv-records")";
    const std::string at = "x.card: $.root.files[0]";
    const Refusal refusals[] = {
        {"", "x.card: is no JSON: parse error at line 1, column 1"},
        {"{} x", "x.card: is no JSON"},
        {std::string(200000, '['), "x.card: is no JSON"},
        {"[]", "x.card: $: must be an object"},
        {"{}", "x.card: $: member \"format\" is missing"},
        {R"({"format":"zelmo virtual card 2"})", "x.card: $.format: must be \"zelmo virtual card 1\""},
        {R"({"format":"zelmo virtual card 1"})", "x.card: $: member \"root\" is missing"},
        {R"({"format":"a","format":"b"})", "x.card: member \"format\" stands twice in one object"},
        {R"({"format":"zelmo virtual card 1","more":1})", "x.card: $: unknown member \"more\""},
        {R"({"format":"zelmo virtual card 1","root":{"fid":"3F01","kind":"df"}})",
         "x.card: $.root: must be the DF 3F00"},
        {R"({"format":"zelmo virtual card 1","root":{"fid":"3F00","kind":"df"},"card":{"lifeCycle":256}})",
         "x.card: $.card.lifeCycle: must be a whole number from 0 to 255"},
        {R"({"format":"zelmo virtual card 1","root":{"fid":"3F00","kind":"df"},"card":{"extendedLength":1}})",
         "x.card: $.card.extendedLength: must be true or false"},
        {R"({"format":"zelmo virtual card 1","root":{"fid":"3F00","kind":"df"},"card":{"atr":"3B"}})",
         "x.card: $.card.atr: has 1 octets, must have 2 to 33"},
        {R"({"format":"zelmo virtual card 1","root":{"fid":"3F00","kind":"df"},
            "pins":[{"reference":1,"value":"31"},{"reference":1,"value":"32"}]})",
         "x.card: $.pins[1].reference: stands twice"},
        {R"({"format":"zelmo virtual card 1","root":{"fid":"3F00","kind":"df"},
            "pins":[{"reference":1,"value":"31","maxTries":3,"triesLeft":4}]})",
         "x.card: $.pins[0].triesLeft: must be a whole number from 0 to 3"},
        {withFiles("7"), at + ": member \"kind\" is missing"},
        {withFiles(R"({"fid":"2F00","kind":"cyclic"})"),
         at + ".kind: \"cyclic\" is none of \"df\", \"transparent\", \"linear-variable\", \"tlv-records\""},
        {withFiles(R"({"kind":"df"})"), at + ": member \"fid\" is missing"},
        {withFiles(R"({"fid":"2F0","kind":"df"})"), at + ".fid: has an odd number of hexadecimal digits"},
        {withFiles(R"({"fid":"2F0000","kind":"df"})"), at + ".fid: has 3 octets, must have 2"},
        {withFiles(R"({"fid":"2F 0","kind":"df"})"), at + ".fid: character 3 is no hexadecimal digit"},
        {withFiles(R"({"fid":"3F00","kind":"df"})"), at + ".fid: is reserved"},
        {withFiles(R"({"fid":"3FFF","kind":"df"})"), at + ".fid: is reserved"},
        {withFiles(ef + "}," + ef + "}"), "x.card: $.root.files[1].fid: is reserved, its DF's own, or another file's"},
        {withFiles(ef + R"(,"sfi":31})"), at + ".sfi: must be a whole number from 1 to 30"},
        {withFiles(ef + R"(,"sfi":1},{"fid":"2F01","kind":"transparent","sfi":1})"),
         "x.card: $.root.files[1].sfi: is another file's"},
        {withFiles(ef + R"(,"records":[]})"), at + ": unknown member \"records\""},
        {withFiles(recs + R"(,"data":""})"), at + ": unknown member \"data\""},
        {withFiles(ef + R"(,"size":-1})"), at + ".size: must be a whole number from 0 to 65535"},
        {withFiles(ef + R"(,"size":65536})"), at + ".size: must be a whole number from 0 to 65535"},
        {withFiles(ef + R"(,"size":1.0})"), at + ".size: must be a whole number"},
        {withFiles(ef + R"(,"size":1,"data":"0000"})"), at + ".size: is 1, less than the 2 octets of data"},
        {withFiles(recs + R"(,"maxRecord":2,"records":["00","010203"]})"),
         at + ".records[1]: has 3 octets, must have 0 to 2"},
        {withFiles(recs + R"(,"maxRecords":1,"records":["00","01"]})"),
         at + ".records: has 2 records, more than maxRecords 1"},
        {withFiles(recs + R"(,"records":{}})"), at + ".records: must be an array"},
        {withFiles(ef + R"(,"access":{"create":"always"}})"), at + ".access.create: is no operation of an EF"},
        {withFiles(R"({"fid":"5015","kind":"df","access":{"read":"always"}})"),
         at + ".access.read: is no operation of a DF"},
        {withFiles(ef + R"(,"access":{"write":"always"}})"), at + ".access.write: \"write\" is none of \"read\""},
        {withFiles(ef + R"(,"access":{"read":"pin"}})"), at + ".access.read: \"pin\" needs an argument"},
        {withFiles(ef + R"(,"access":{"read":{"never":1}}})"), at + ".access.read: \"never\" is a plain word"},
        {withFiles(ef + R"(,"access":{"read":{"pin":1,"key":1}}})"), at + ".access.read: must be \"always\""},
        {withFiles(ef + R"(,"access":{"read":{"or":[{"and":[{"key":-1}]}]}}})"),
         at + ".access.read.or[0].and[0].key: must be a whole number from 0 to 255"},
        {withFiles(R"({"fid":"5015","kind":"df","name":""})"), at + ".name: has 0 octets, must have 1 to 16"},
        {nestedDfs(8), "DFs are nested deeper than 8"},
        {nestedConditions(9), "conditions are nested deeper than 8"},
        {std::string((16u << 20u) + 1, ' '), "x.card: is larger than 16777216 octets"},
    };
    for (const Refusal &refusal : refusals)
        EXPECT_THAT(errorOf(refusal.text), testing::HasSubstr(refusal.message)) << refusal.text.substr(0, 300);
}

TEST(ImageReader, RefusesSecretsThatCannotBe) {
    const std::string pin = R"({"reference":1)";
    const std::string key = R"({"reference":1,"value":"000102030405060708090A0B0C0D0E0F")";
    const std::string octets32 = R"("000102030405060708090A0B0C0D0E0F000102030405060708090A0B0C0D0E0F")";
    const Refusal refusals[] = {
        {withSecrets("pins", R"({"value":"31"})"), "x.card: $.pins[0]: member \"reference\" is missing"},
        {withSecrets("pins", pin + R"(,"value":""})"), "x.card: $.pins[0].value: has 0 octets, must have 1 to 255"},
        {withSecrets("pins", pin + R"(,"minLength":0})"), "$.pins[0].minLength: must be a whole number from 1 to 255"},
        {withSecrets("pins", pin + R"(,"maxLength":256})"),
         "$.pins[0].maxLength: must be a whole number from 1 to 255"},
        {withSecrets("pins", pin + R"(,"minLength":5,"maxLength":4})"),
         "$.pins[0].maxLength: must be a whole number from 5 to 255"},
        {withSecrets("pins", pin + R"(,"unblockedBy":2})"),
         "$.pins[0].unblockedBy: must be the reference of another PIN"},
        {withSecrets("pins", pin + R"(,"unblockedBy":1})"),
         "$.pins[0].unblockedBy: must be the reference of another PIN"},
        {withSecrets("pins", pin + R"(,"unblockedBy":256})"), "$.pins[0].unblockedBy: must be a whole number from 0"},
        {withSecrets("pins", pin + R"(,"algorithm":"aes"})"), "$.pins[0]: unknown member \"algorithm\""},
        {withSecrets("pins", pin + R"(,"access":{"read":"always"}})"),
         "$.pins[0].access.read: is no operation of a PIN"},
        {withSecrets("pins", pin + R"(,"access":{"change":"pin"}})"),
         "$.pins[0].access.change: \"pin\" needs an argument"},
        {withSecrets("keys", R"({"reference":1})"), "$.keys[0]: member \"value\" is missing"},
        {withSecrets("keys", key + R"(,"unblockedBy":2})"), "$.keys[0]: unknown member \"unblockedBy\""},
        {withSecrets("keys", key + R"(,"minLength":2})"), "$.keys[0]: unknown member \"minLength\""},
        {withSecrets("keys", key + R"(,"access":{"unblock":"always"}})"),
         "$.keys[0].access.unblock: is no operation of a key"},
        {withSecrets("keys", key + R"(,"algorithm":"des"})"),
         "$.keys[0].algorithm: \"des\" is none of \"aes\", \"3des\""},
        {withSecrets("keys", R"({"reference":1,"value":"00","algorithm":"aes"})"),
         "$.keys[0].value: has 1 octets, which no key of \"aes\" has"},
        {withSecrets("keys", R"({"reference":1,"algorithm":"3des","value":)" + octets32 + "}"),
         "$.keys[0].value: has 32 octets, which no key of \"3des\" has"},
        {withFiles(R"({"fid":"2F00","kind":"transparent","access":{"change":"always"}})"),
         "$.root.files[0].access.change: is no operation of an EF"},
        {withFiles(R"({"fid":"5015","kind":"df","access":{"unblock":"always"}})"),
         "$.root.files[0].access.unblock: is no operation of a DF"},
    };
    for (const Refusal &refusal : refusals)
        EXPECT_THAT(errorOf(refusal.text), testing::HasSubstr(refusal.message)) << refusal.text;
}

TEST(ImageReader, AcceptsSecretsInAnyOrderAndForm) {
    EXPECT_EQ(errorOf(withSecrets("pins", R"({"reference":1,"unblockedBy":2},{"reference":2,"value":"00"})")),
              "accepted");
    EXPECT_EQ(errorOf(withSecrets("pins", R"({"reference":1,"value":"31","minLength":4,"maxLength":4})")), "accepted")
        << "the bounds are for new values";
    EXPECT_EQ(errorOf(withSecrets("keys", R"({"reference":1,"value":"00"})")), "accepted") << "for conditions alone";
}

TEST(ImageReader, AcceptsWhatLiesJustInside) {
    EXPECT_EQ(errorOf(nestedDfs(7)), "accepted");
    EXPECT_EQ(errorOf(nestedConditions(8)), "accepted");
    EXPECT_EQ(errorOf(withFiles(R"({"fid":"2f0a","kind":"tlv-records","records":["","fFfF","0155"]})")), "accepted");
}

TEST(ImageReader, AppliesDefaults) {
    const CardImage image = parseImage(
        withFiles(R"({"fid":"2F00","kind":"transparent","size":3,"data":"aB"},{"fid":"2F01","kind":"tlv-records"})"),
        "x");
    const virtualcard::File &transparent = image.root.files.front();
    const virtualcard::File &records = image.root.files.back();
    EXPECT_EQ(toHex(transparent.data), "AB 00 00");
    EXPECT_TRUE(transparent.access.empty());
    EXPECT_EQ(records.maxRecord, 234u);
    EXPECT_EQ(records.maxRecords, 254u);
    EXPECT_EQ(image.lifeCycle, 52);
    EXPECT_TRUE(image.atr.empty());
}

// Reading what was written gives the same text again, whatever is in it.
TEST(ImageWriter, RoundTrips) {
    const std::string text = R"({"format":"zelmo virtual card 1",
      "card":{"atr":"3B80800101","serial":"","model":"C0DE","lifeCycle":16,"extendedLength":true},
      "root":{"fid":"3F00","kind":"df","access":{"create":{"key":3},"delete":"never"},"files":[
        {"fid":"2F00","kind":"transparent","size":9,"data":"0100","sfi":3,"state":"terminated",
         "access":{"read":{"and":[{"pin":1},{"or":["always",{"key":2}]}]},"update":"never","append":"always"}},
        {"fid":"5015","kind":"df","name":"A0","files":[
          {"fid":"4401","kind":"tlv-records","maxRecord":9,"maxRecords":2,"records":["","01FF"]},
          {"fid":"4402","kind":"linear-variable","records":[]}]}]},
      "pins":[{"reference":129,"value":"3132","maxTries":5,"triesLeft":0},
              {"reference":2,"minLength":4,"maxLength":12,"unblockedBy":129,
               "access":{"change":{"key":8},"unblock":"always"}}],
      "keys":[{"reference":8,"value":"00"},
              {"reference":9,"algorithm":"3des","value":"0123456789ABCDEF23456789ABCDEF01",
               "access":{"change":{"pin":2}}}]})";
    const std::string once = formatImage(parseImage(text, "x"));
    EXPECT_EQ(once, formatImage(parseImage(once, "y")));
    const CardImage image = parseImage(once, "x");
    const virtualcard::File &first = image.root.files.front();
    EXPECT_EQ(toHex(first.data), "01 00 00 00 00 00 00 00 00");
    EXPECT_EQ(first.state, virtualcard::FileState::terminated);
    EXPECT_EQ(first.access.size(), 3u);
    EXPECT_EQ(image.pins[0].triesLeft, 0);
    EXPECT_EQ(image.keys[0].maxTries, 3);
    EXPECT_FALSE(image.keys[0].algorithm);
    EXPECT_EQ(image.keys[1].algorithm, virtualcard::KeyAlgorithm::tripleDes);
    EXPECT_EQ(image.keys[1].access.count(virtualcard::Operation::change), 1u);
    EXPECT_TRUE(image.pins[1].value.empty());
    EXPECT_EQ(image.pins[1].minLength, 4u);
    EXPECT_EQ(image.pins[1].maxLength, 12u);
    EXPECT_EQ(image.pins[1].unblockedBy, 129);
    EXPECT_EQ(image.pins[1].access.size(), 2u);
    EXPECT_EQ(toHex(image.root.files.back().files.front().records[1]), "01 FF");
    EXPECT_THAT(once, testing::HasSubstr(R"("data": "01")"));
}

class ImageFile : public testing::Test {
  protected:
    void SetUp() override {
        virtualcard::writeImage(file, parseImage(withFiles(R"({"fid":"2F00","kind":"transparent","size":4})"), "x"));
    }
    size_t filesInDirectory() const {
        return static_cast<size_t>(std::distance(fs::directory_iterator(directory), fs::directory_iterator()));
    }
    std::string content() const {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }
    const TempDirectory own;
    const fs::path &directory = own.path();
    const std::string file = own.file("a.card");
};

const std::vector<uint8_t> update = fromHex("00 D6 00 00 02 AB CD");

TEST_F(ImageFile, KeepsWhatACommandChanged) {
    const auto card = virtualcard::VirtualCard::load(file);
    card->transmit(fromHex("00 A4 00 0C 02 2F 00"));
    EXPECT_EQ(toHex(card->transmit(update)), "90 00");
    EXPECT_EQ(toHex(virtualcard::readImage(file).root.files.front().data), "AB CD 00 00");
    EXPECT_EQ(toHex(card->transmit(update)), "90 00");
    EXPECT_EQ(filesInDirectory(), 1u);
}

TEST_F(ImageFile, ReadingWritesNothing) {
    const fs::file_time_type before = fs::last_write_time(file);
    struct stat status = {};
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    const ino_t inode = status.st_ino;
    const auto card = virtualcard::VirtualCard::load(file);
    card->transmit(fromHex("00 A4 00 0C 02 2F 00"));
    card->transmit(fromHex("00 B0 00 00 00"));
    EXPECT_EQ(fs::last_write_time(file), before);
    ASSERT_EQ(stat(file.c_str(), &status), 0);
    EXPECT_EQ(status.st_ino, inode);
}

TEST_F(ImageFile, RefusesToOverwriteSomebodyElsesChange) {
    const auto one = virtualcard::VirtualCard::load(file);
    const auto two = virtualcard::VirtualCard::load(file);
    for (const auto *card : {&one, &two})
        (*card)->transmit(fromHex("00 A4 00 0C 02 2F 00"));
    EXPECT_EQ(toHex(one->transmit(update)), "90 00");
    const std::string after = content();
    EXPECT_EQ(toHex(two->transmit(fromHex("00 D6 00 00 01 FF"))), "65 81");
    EXPECT_EQ(content(), after);
    EXPECT_EQ(filesInDirectory(), 1u);
}

TEST_F(ImageFile, FailedWriteLeavesTheOldImage) {
    const auto card = virtualcard::VirtualCard::load(file);
    card->transmit(fromHex("00 A4 00 0C 02 2F 00"));
    const fs::path moved = directory.string() + "-moved";
    fs::rename(directory, moved);
    EXPECT_EQ(toHex(card->transmit(update)), "65 81");
    fs::rename(moved, directory);
    EXPECT_EQ(toHex(virtualcard::readImage(file).root.files.front().data), "00 00 00 00");
}

// Killed at any moment, a writer leaves one of the two images that it writes in turn, whole.
TEST_F(ImageFile, KilledWriterLeavesAWholeImage) {
    CardImage images[2];
    images[0].serial = fromHex("AA");
    images[1].serial.assign(32, 0xBB);
    virtualcard::writeImage(file, images[0]);
    for (int round = 0; round < 20; round++) {
        const pid_t writer = fork();
        ASSERT_GE(writer, 0);
        if (writer == 0)
            for (size_t i = 0;; i++)
                virtualcard::writeImage(file, images[i % 2]);
        usleep(static_cast<useconds_t>(500 + 137 * round));
        ASSERT_EQ(kill(writer, SIGKILL), 0);
        ASSERT_EQ(waitpid(writer, nullptr, 0), writer);
        const std::string serial = toHex(virtualcard::readImage(file).serial);
        EXPECT_TRUE(serial == toHex(images[0].serial) || serial == toHex(images[1].serial)) << serial;
    }
}

TEST_F(ImageFile, LinkStaysALinkAndModeIsKept) {
    const fs::path link = directory / "link.card";
    fs::create_symlink("a.card", link);
    ASSERT_EQ(chmod(file.c_str(), 0640), 0);
    virtualcard::writeImage(link.string(), CardImage());
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_TRUE(virtualcard::readImage(file).root.files.empty());
    EXPECT_EQ(fs::status(file).permissions(), fs::perms(0640));
}

TEST_F(ImageFile, MessagesNameTheFile) {
    const auto message = [](const std::string &name) -> std::string {
        try {
            virtualcard::readImage(name);
        } catch (const ImageError &error) {
            return error.what();
        }
        return "read";
    };
    EXPECT_EQ(message(file + "x"), file + "x: cannot open: No such file or directory");
    EXPECT_EQ(message(directory.string()), directory.string() + ": is no regular file");
    std::ofstream(file, std::ios::trunc) << "{";
    EXPECT_THAT(message(file), testing::StartsWith(file + ": is no JSON: parse error at line 1, column 2"));
}

// The images that other tests run on are images that this reader takes.
TEST(Image, TestTokensAreAccepted) {
    size_t count = 0;
    for (const auto &entry : fs::directory_iterator(ZELMO_SOURCE_DIR "/tests/data/tokens")) {
        if (entry.path().extension() != ".card")
            continue;
        EXPECT_NO_THROW(virtualcard::readImage(entry.path().string())) << entry.path();
        count++;
    }
    EXPECT_GE(count, 6u);
}

}  // namespace

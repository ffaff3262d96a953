// Image files: what is read, what is refused and how, and what is left on the disk.
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <sys/stat.h>
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

std::string errorOf(const std::string &text) {
    try {
        parseImage(text, "x.card");
    } catch (const ImageError &error) {
        return error.what();
    }
    return "accepted";
}

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

// Images that are refused: what they hold, ">" and the message. The letter in front says where that stands: W is the
// whole image, V follows its format and root, F are files, E and R members of a transparent and of a record file, P and
// K of a PIN and of a key. A message that begins with a dot or colon follows the first of these.
const char *const refused = R"raw(W  > x.card: is no JSON: parse error at line 1, column 1
W {} x > x.card: is no JSON
W [] > x.card: $: must be an object
W {} > x.card: $: member "format" is missing
W {"format":"zelmo virtual card 2"} > x.card: $.format: must be "zelmo virtual card 1"
W {"format":"zelmo virtual card 1"} > x.card: $: member "root" is missing
W {"format":"a","format":"b"} > x.card: member "format" stands twice in one object
W {"format":"zelmo virtual card 1","root":{"fid":"3F01","kind":"df"}} > x.card: $.root: must be the DF 3F00
V "more":1 > x.card: $: unknown member "more"
V "card":{"lifeCycle":256} > x.card: $.card.lifeCycle: must be a whole number from 0 to 255
V "card":{"extendedLength":1} > x.card: $.card.extendedLength: must be true or false
V "card":{"atr":"3B"} > x.card: $.card.atr: has 1 octets, must have 2 to 33
F 7 > : member "kind" is missing
F {"fid":"2F00","kind":"x"} > .kind: "x" is none of "df", "transparent", "linear-variable", "tlv-records"
F {"kind":"df"} > : member "fid" is missing
F {"fid":"2F0","kind":"df"} > .fid: has an odd number of hexadecimal digits
F {"fid":"2F0000","kind":"df"} > .fid: has 3 octets, must have 2
F {"fid":"2F 0","kind":"df"} > .fid: character 3 is no hexadecimal digit
F {"fid":"3F00","kind":"df"} > .fid: is reserved
F {"fid":"3FFF","kind":"df"} > .fid: is reserved
F {"fid":"5015","kind":"df","access":{"read":"always"}} > .access.read: is no operation of a DF
F {"fid":"5015","kind":"df","access":{"unblock":"always"}} > .access.unblock: is no operation of a DF
F {"fid":"5015","kind":"df","name":""} > .name: has 0 octets, must have 1 to 16
F {"fid":"2F00","kind":"df"},{"fid":"2F00","kind":"df"} > x.card: $.root.files[1].fid: is reserved, its DF's own, or another
E "sfi":31 > .sfi: must be a whole number from 1 to 30
E "sfi":1},{"fid":"2F01","kind":"transparent","sfi":1 > x.card: $.root.files[1].sfi: is another file's
E "records":[] > : unknown member "records"
E "size":-1 > .size: must be a whole number from 0 to 65535
E "size":65536 > .size: must be a whole number from 0 to 65535
E "size":1.0 > .size: must be a whole number
E "size":1,"data":"0000" > .size: is 1, less than the 2 octets of data
E "access":{"create":"always"} > .access.create: is no operation of an EF
E "access":{"change":"always"} > .access.change: is no operation of an EF
E "access":{"write":"always"} > .access.write: "write" is none of "read"
E "access":{"read":"pin"} > .access.read: "pin" needs an argument
E "access":{"read":{"never":1}} > .access.read: "never" is a plain word
E "access":{"read":{"pin":1,"key":1}} > .access.read: must be "always"
E "access":{"read":{"or":[{"and":[{"key":-1}]}]}} > .access.read.or[0].and[0].key: must be a whole number from 0 to 255
R "data":"" > : unknown member "data"
R "maxRecord":2,"records":["00","010203"] > .records[1]: has 3 octets, must have 0 to 2
R "maxRecords":1,"records":["00","01"] > .records: has 2 records, more than maxRecords 1
R "records":{} > .records: must be an array
V "pins":[{"value":"31"}] > x.card: $.pins[0]: member "reference" is missing
P "value":"31"},{"reference":1,"value":"32" > x.card: $.pins[1].reference: stands twice
P "value":"31","maxTries":3,"triesLeft":4 > .triesLeft: must be a whole number from 0 to 3
P "value":"" > .value: has 0 octets, must have 1 to 255
P "minLength":0 > .minLength: must be a whole number from 1 to 255
P "maxLength":256 > .maxLength: must be a whole number from 1 to 255
P "minLength":5,"maxLength":4 > .maxLength: must be a whole number from 5 to 255
P "unblockedBy":2 > .unblockedBy: must be the reference of another PIN
P "unblockedBy":1 > .unblockedBy: must be the reference of another PIN
P "unblockedBy":256 > .unblockedBy: must be a whole number from 0
P "algorithm":"aes" > : unknown member "algorithm"
P "access":{"read":"always"} > .access.read: is no operation of a PIN
P "access":{"change":"pin"} > .access.change: "pin" needs an argument
V "keys":[{"reference":1}] > x.card: $.keys[0]: member "value" is missing
K "unblockedBy":2 > : unknown member "unblockedBy"
K "minLength":2 > : unknown member "minLength"
K "access":{"unblock":"always"} > .access.unblock: is no operation of a key
K "algorithm":"des" > .algorithm: "des" is none of "aes", "3des"
V "keys":[{"reference":1,"value":"00","algorithm":"aes"}] > x.card: $.keys[0].value: has 1 octets, which no key
K "algorithm":"3des" > .value: has 32 octets, which no key of "3des" has)raw";

std::string withMembers(char where, const std::string &members) {
    const std::string root = R"({"format":"zelmo virtual card 1","root":{"fid":"3F00","kind":"df")";
    const std::map<char, std::pair<std::string, std::string>> around = {
        {'W', {"", ""}},
        {'V', {root + "},", "}"}},
        {'F', {root + R"(,"files":[)", "]}}"}},
        {'E', {root + R"(,"files":[{"fid":"2F00","kind":"transparent",)", "}]}}"}},
        {'R', {root + R"(,"files":[{"fid":"2F00","kind":"tlv-records",)", "}]}}"}},
        {'P', {root + R"(},"pins":[{"reference":1,)", "}]}"}},
        {'K', {root + R"(},"keys":[{"reference":1,"value":")" + std::string(64, '7') + "\",", "}]}"}}};
    return around.at(where).first + members + around.at(where).second;
}

TEST(ImageReader, RefusesWithFilePathAndReason) {
    std::istringstream rows(refused);
    for (std::string row; std::getline(rows, row);) {
        const size_t mark = row.find(" > ");
        const std::string place = row[0] == 'P' ? "pins[0]" : row[0] == 'K' ? "keys[0]" : "root.files[0]";
        std::string message = row.substr(mark + 3);
        if (message[0] == '.' || message[0] == ':')
            message.insert(0, "x.card: $." + place);
        EXPECT_THAT(errorOf(withMembers(row[0], row.substr(2, mark - 2))), testing::StartsWith(message)) << row;
    }
    for (const auto &[text, message] : std::initializer_list<std::pair<std::string, const char *>>{
             {std::string(200000, '['), "x.card: is no JSON"},
             {nestedDfs(8), "DFs are nested deeper than 8"},
             {nestedConditions(9), "conditions are nested deeper than 8"},
             {std::string((16u << 20u) + 1, ' '), "x.card: is larger than 16777216 octets"}})
        EXPECT_THAT(errorOf(text), testing::HasSubstr(message));
}

TEST(ImageReader, AcceptsWhatLiesJustInside) {
    for (const std::string &text :
         {nestedDfs(7), nestedConditions(8),
          withFiles(R"({"fid":"2f0a","kind":"tlv-records","records":["","fFfF","0155"]})"),
          withMembers('V', R"("pins":[{"reference":1,"unblockedBy":2},{"reference":2,"value":"00"}])"),
          // The bounds are for new values, and a key without an algorithm for conditions alone.
          withMembers('V', R"("pins":[{"reference":1,"value":"31","minLength":4,"maxLength":4}])"),
          withMembers('V', R"("keys":[{"reference":1,"value":"00"}])")})
        EXPECT_EQ(errorOf(text), "accepted");
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

}  // namespace

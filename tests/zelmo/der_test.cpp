#include "zelmo/der.h"

#include <gtest/gtest.h>

#include "zelmo/name_text.h"
#include "zelmo/text.h"

namespace {

TEST(Der, TakesWholeElementsOnly) {
    struct Case {
        const char *input, *content, *rest;  // content null: refused
    };
    const std::string long_form = "308180" + std::string(256, '0');
    const Case cases[] = {
        {"0500", "", ""},
        {"04020102FF", "0102", "FF"},
        {"04810101", "01", ""},
        {"048400000001AA", "AA", ""},
        {"", nullptr, ""},
        {"04", nullptr, "04"},
        {"0402FF", nullptr, "0402FF"},
        {"3080", nullptr, "3080"},                          // indefinite
        {"0485000000000101", nullptr, "0485000000000101"},  // more length octets than a file can need
        {"0484FFFFFFFF01", nullptr, "0484FFFFFFFF01"},
        {"0482FF", nullptr, "0482FF"},
    };
    for (const Case &c : cases) {
        const auto octets = zelmo::unhex(c.input);
        zelmo::Octets input = octets;
        const auto element = zelmo::takeElement(input);
        ASSERT_EQ(element.has_value(), c.content != nullptr) << c.input;
        if (element) {
            EXPECT_EQ(zelmo::hex(element->content), c.content);
        }
        EXPECT_EQ(zelmo::hex(input), c.rest);
    }
    const auto octets = zelmo::unhex(long_form);
    zelmo::Octets input = octets;
    EXPECT_EQ(zelmo::takeElement(input)->content.size(), 128u);
}

TEST(Names, AsPeopleWriteThem) {
    const std::pair<const char *, const char *> cases[] = {
        {"3039310B300906035504061302444531143012060355040A0C0B5A656C6D6F7020546573743114301206035504030C0B416E6E204578"
         "616D706C65",
         "CN=Ann Example, O=Zelmop Test, C=DE"},
        {"300C310A300806022A030C024120", "#2A03=A "},
        {"300D310B300906035504030C02411B", "CN=A\xEF\xBF\xBD"},
        {"3000", ""},
        {"3100", ""},
        {"30053103300106", ""},
        {"3010310B300906035504030C024142050005", ""},
    };
    for (const auto &[encoded, expected] : cases)
        EXPECT_EQ(zelmo::nameText(zelmo::unhex(encoded)), expected) << encoded;
}

}  // namespace

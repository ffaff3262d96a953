// The words of the image's text form, for reader and writer alike.
#ifndef VIRTUALCARD_IMAGE_NAMES_H
#define VIRTUALCARD_IMAGE_NAMES_H

#include <array>
#include <string_view>
#include <utility>

#include "virtualcard/image.h"

namespace virtualcard::names {

inline constexpr std::string_view format = "zelmo virtual card 1";

inline constexpr std::array<std::pair<FileKind, std::string_view>, 4> kinds = {{
    {FileKind::df, "df"},
    {FileKind::transparent, "transparent"},
    {FileKind::linearVariable, "linear-variable"},
    {FileKind::tlvRecords, "tlv-records"},
}};

inline constexpr std::array<std::pair<FileState, std::string_view>, 4> states = {{
    {FileState::activated, "activated"},
    {FileState::deactivated, "deactivated"},
    {FileState::terminated, "terminated"},
    {FileState::created, "created"},
}};

inline constexpr std::array<std::pair<Operation, std::string_view>, 7> operations = {{
    {Operation::read, "read"},
    {Operation::update, "update"},
    {Operation::append, "append"},
    {Operation::create, "create"},
    {Operation::remove, "delete"},
    {Operation::change, "change"},
    {Operation::unblock, "unblock"},
}};

inline constexpr std::array<std::pair<AccessCondition::Kind, std::string_view>, 6> conditions = {{
    {AccessCondition::Kind::always, "always"},
    {AccessCondition::Kind::never, "never"},
    {AccessCondition::Kind::pin, "pin"},
    {AccessCondition::Kind::key, "key"},
    {AccessCondition::Kind::all, "and"},
    {AccessCondition::Kind::any, "or"},
}};

inline constexpr std::array<std::pair<KeyAlgorithm, std::string_view>, 2> algorithms = {{
    {KeyAlgorithm::aes, "aes"},
    {KeyAlgorithm::tripleDes, "3des"},
}};

}  // namespace virtualcard::names

#endif

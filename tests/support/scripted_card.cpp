#include "support/scripted_card.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <utility>

namespace {

CardDouble *current = nullptr;

constexpr uint32_t sw_no_current_file = 0xE0116986;
constexpr uint32_t sw_file_full = 0xE0116A84;
constexpr uint32_t sw_wrong_kind = 0xE0116981;

// Arguments of a call that are more than a number.
struct In {
    const uint8_t *data;
    uint32_t length;
};
struct Room {
    uint8_t *buffer;
    uint32_t *length;
};

/// Notes the arguments of a call one after the other, then asks the card.
class Call {
  public:
    template <class... Arguments>
    uint32_t make(const char *operation, const Arguments &...arguments) {
        call_.operation = call_.text = operation;
        (note(arguments), ...);
        return ask();
    }

  private:
    void note(In in) {
        if (current != nullptr && current->forgetful)
            return say("***");
        if (in.data == nullptr) {
            EXPECT_EQ(in.length, 0u) << call_.operation << ": no data, but a length";
            call_.first_is_null |= call_.octets.empty();
            in.length = 0;
        }
        call_.octets.emplace_back(in.data, in.data + in.length);
        say(in.data == nullptr ? "null" : to_hex(in.data, in.length));
    }
    void note(uint32_t value) {
        call_.numbers.push_back(value);
        say(std::to_string(value));
    }
    void note(const uint32_t *optional) {
        return optional != nullptr ? note(*optional) : say("null");
    }
    void note(Room room) {
        room_ = room;
        note(*room.length);
    }
    void note(uint32_t *place) {
        value_ = place;
        say(place != nullptr ? "place" : "null");
    }
    void note(uint8_t *retries) {
        retries_ = retries;
        say(retries != nullptr ? "place" : "null");
    }
    void note(FileInfo *info) {
        if (info != nullptr)
            *info = FileInfo{};
        note(info != nullptr ? &info->fileType : static_cast<uint32_t *>(nullptr));
    }
    uint32_t ask() {
        if (current == nullptr) {
            ADD_FAILURE() << "no card: " << call_.text;
            return 0x8010000C;
        }
        const CardAnswer answer = current->ask(call_);
        if (room_.length != nullptr && answer.code == 0) {
            *room_.length = static_cast<uint32_t>(std::min<size_t>(*room_.length, answer.data.size()));
            if (room_.buffer != nullptr)
                std::copy_n(answer.data.data(), *room_.length, room_.buffer);
        }
        if (value_ != nullptr)
            *value_ = answer.value;
        if (retries_ != nullptr)
            *retries_ = static_cast<uint8_t>(answer.value);
        return answer.code;
    }
    void say(const std::string &argument) {
        call_.text += ' ' + argument;
    }

    CardCall call_;
    Room room_ = {};
    uint32_t *value_ = nullptr;
    uint8_t *retries_ = nullptr;
};

template <class... Arguments>
uint32_t on_card(const char *operation, CardHandle card, const Arguments &...arguments) {
    EXPECT_EQ(card, test_card) << operation;
    return Call().make(operation, arguments...);
}

}  // namespace

CardDouble::CardDouble() : covered_(std::exchange(current, this)) {}

CardDouble::~CardDouble() {
    current = covered_;
}

std::vector<std::string> CardDouble::take_calls() {
    return std::exchange(calls_, {});
}

void CardDouble::fail(unsigned n, uint32_t code, bool all_after) {
    countdown_ = n;
    failure_ = code;
    all_after_ = all_after;
    failed_ = false;
}

bool CardDouble::stop_failing() {
    countdown_ = 0;
    all_after_ = false;
    return std::exchange(failed_, false);
}

CardAnswer CardDouble::ask(CardCall call) {
    calls_.push_back(call.text);
    if ((failed_ && all_after_) || (countdown_ != 0 && --countdown_ == 0)) {
        failed_ = true;
        return {failure_};
    }
    return answer(call);
}

CardAnswer ScriptedCard::answer(const CardCall &call) {
    if (script.empty()) {
        ADD_FAILURE() << "not in the script: " << call.text;
        return {0x80100001};
    }
    CardAnswer answer = script.front();
    script.pop_front();
    return answer;
}

CardAnswer FileCard::answer(const CardCall &call) {
    if (call.operation == "scard_SelectFile") {
        const std::string aid = to_hex(call.octets[0].data(), call.octets[0].size());
        const std::string path = to_hex(call.octets[1].data(), call.octets[1].size());
        const bool absolute = path.starts_with("3F00") || call.first_is_null;
        if (!call.first_is_null && !applications.contains(aid))
            return {sw_file_not_found};
        return select(absolute ? path : applications[aid] + path);
    }
    if (call.operation == "scardcmd_SelectFile")
        return select("3F00" + to_hex(call.octets[0].data(), call.octets[0].size()));
    if (call.operation == "scard_ReadEFBinary")
        return read_binary(call);
    if (selected_ == nullptr)
        return {sw_no_current_file};
    if (selected_->type == transparent)
        return {sw_wrong_kind};
    if (call.operation == "scardcmd_ReadRecord")
        return read_record(call);
    if (call.operation == "scardcmd_UpdateRecord")
        return update_record(call);
    return append_record(call);
}

CardAnswer FileCard::select(const std::string &path) {
    const auto file = files.find(path);
    selected_ = file != files.end() ? &file->second : nullptr;
    next_record_ = 0;
    return selected_ != nullptr ? CardAnswer{0, {}, selected_->type} : CardAnswer{sw_file_not_found};
}

CardAnswer FileCard::read_binary(const CardCall &call) {
    if (!call.first_is_null && select(short_ids[call.octets[0].at(0)]).code != 0)
        return {sw_file_not_found};
    if (selected_ == nullptr || selected_->type != transparent)
        return {sw_no_current_file};
    return {0, selected_->content};
}

CardAnswer FileCard::read_record(const CardCall &call) {
    constexpr uint32_t next = 2;
    auto &records = selected_->records;
    if (call.numbers[2] == next)
        return next_record_ < records.size() ? CardAnswer{0, records[next_record_++]} : CardAnswer{sw_record_not_found};
    for (const Octets &octets : records)
        if (octets.at(0) == call.numbers[0])
            return {0, octets};
    return {sw_record_not_found};
}

CardAnswer FileCard::update_record(const CardCall &call) {
    constexpr uint32_t by_number = 4;
    auto &records = selected_->records;
    const uint32_t id = call.numbers[0];
    auto place = std::find_if(records.begin(), records.end(), [&](const Octets &octets) { return octets[0] == id; });
    if (call.numbers[2] == by_number)
        place = id <= records.size() ? records.begin() + id - 1 : records.end();
    if (place == records.end())
        return {sw_record_not_found};
    *place = call.octets[0];
    return {};
}

CardAnswer FileCard::append_record(const CardCall &call) {
    if (selected_->records.size() >= selected_->max_records)
        return {sw_file_full};
    selected_->records.push_back(call.octets[0]);
    return {};
}

extern "C" {

uint32_t scard_SelectFile(CardHandle card, const uint8_t *aid, uint32_t aidLength, const uint8_t *path,
                          uint32_t pathLength, FileInfo *fileInfo) {
    return on_card(__func__, card, In{aid, aidLength}, In{path, pathLength}, fileInfo);
}

uint32_t scardcmd_SelectFile(CardHandle card, uint32_t mode, const uint8_t *data, uint32_t length, FileInfo *fileInfo) {
    return on_card(__func__, card, mode, In{data, length}, fileInfo);
}

uint32_t scard_ReadEFBinary(CardHandle card, const uint8_t *fileReference, uint32_t offset, uint8_t *buffer,
                            uint32_t *length, uint32_t reserved) {
    return on_card(__func__, card, In{fileReference, fileReference != nullptr ? 1u : 0u}, offset, Room{buffer, length},
                   reserved);
}

uint32_t scard_GetDERContentLength(CardHandle card, uint32_t reserved, uint32_t *length) {
    return on_card(__func__, card, reserved, length);
}

uint32_t scard_ReadEFCertificate(CardHandle card, uint32_t reserved, uint32_t offset, uint8_t *buffer, uint32_t *length,
                                 uint32_t reserved2, uint32_t kind) {
    return on_card(__func__, card, reserved, offset, Room{buffer, length}, reserved2, kind);
}

uint32_t scard_UpdateEF(CardHandle card, const uint8_t *fileId, uint32_t offset, const uint8_t *data, uint32_t length) {
    return on_card(__func__, card, In{fileId, 2}, offset, In{data, length});
}

uint32_t scardcmd_ReadRecord(CardHandle card, uint32_t recordId, uint32_t reserved, uint32_t mode, uint32_t reserved2,
                             uint8_t *buffer, uint32_t *length) {
    return on_card(__func__, card, recordId, reserved, mode, reserved2, Room{buffer, length});
}

uint32_t scardcmd_UpdateRecord(CardHandle card, uint32_t recordId, uint32_t reserved, uint32_t mode,
                               const uint8_t *data, uint32_t length, uint32_t reserved2) {
    return on_card(__func__, card, recordId, reserved, mode, In{data, length}, reserved2);
}

uint32_t scardcmd_AppendRecord(CardHandle card, uint32_t reserved, const uint8_t *data, uint32_t length,
                               uint32_t reserved2) {
    return on_card(__func__, card, reserved, In{data, length}, reserved2);
}

uint32_t scardcmd_VerifyPIN(CardHandle card, uint32_t reference, const uint8_t *data, uint32_t length, uint8_t *retries,
                            uint32_t reserved) {
    return on_card(__func__, card, reference, In{data, length}, retries, reserved);
}

uint32_t scardcmd_QueryRetryCounter(CardHandle card, uint32_t reference, uint8_t *retries, uint32_t reserved) {
    return on_card(__func__, card, reference, retries, reserved);
}

uint32_t scardcmd_ChangeReferenceData(CardHandle card, uint32_t mode, uint32_t reference, const uint8_t *oldData,
                                      uint32_t oldLength, const uint8_t *newData, uint32_t newLength,
                                      uint32_t reserved) {
    return on_card(__func__, card, mode, reference, In{oldData, oldLength}, In{newData, newLength}, reserved);
}

uint32_t scardcmd_ResetRetryCounter(CardHandle card, uint32_t reserved, uint32_t reference, const uint8_t *authData,
                                    uint32_t authLength, const uint8_t *newData, uint32_t newLength,
                                    uint32_t reserved2) {
    return on_card(__func__, card, reserved, reference, In{authData, authLength}, In{newData, newLength}, reserved2);
}

uint32_t scardcmd_ChangeKeyData(CardHandle card, uint32_t reserved, uint32_t key, const uint8_t *data, uint32_t length,
                                uint32_t reserved2) {
    return on_card(__func__, card, reserved, key, In{data, length}, reserved2);
}

uint32_t scardcmd_ExternalAuthenticate(CardHandle card, uint32_t key, const uint8_t *data, uint32_t length,
                                       uint32_t reserved) {
    return on_card(__func__, card, key, In{data, length}, reserved);
}

uint32_t scardcmd_GetData(CardHandle card, uint32_t tag, uint8_t *buffer, uint32_t *length) {
    return on_card(__func__, card, tag, Room{buffer, length});
}

uint32_t scardcmd_ResetSecurityStatus(CardHandle card, uint32_t mode) {
    return on_card(__func__, card, mode);
}

uint32_t scard_FormatPin(const uint8_t *pin, uint32_t pinLength, const ScardPinFormat *format, uint8_t *buffer,
                         uint32_t *length) {
    return Call().make(__func__, In{pin, pinLength}, format->pinType, format->minLength, format->storedLength,
                       format->maxLength, In{format->padChar, format->padChar != nullptr ? 1u : 0u},
                       Room{buffer, length});
}

uint32_t scard_GetCardInfo(CardHandle card, CardInfo *cardInfo) {
    return on_card(__func__, card, &cardInfo->lifeCycle);
}

uint32_t scard_GetCardModel(CardHandle card) {
    return on_card(__func__, card);
}

const ExtendedAlgorithmInfo *scard_GetExtendedAlgorithmInfo(uint8_t algorithmReference) {
    Call().make(__func__, uint32_t{algorithmReference});
    const auto bounds = current->bounds.find(algorithmReference);
    return bounds != current->bounds.end() ? &bounds->second : nullptr;
}

uint32_t scard_GetRandom(CardHandle card, uint8_t *buffer, uint32_t count) {
    return on_card(__func__, card, Room{buffer, &count});
}

uint32_t scard_LifeCycleAdministration(CardHandle card) {
    return on_card(__func__, card);
}

uint32_t scardcmd_EraseFiles(CardHandle card, uint32_t reserved) {
    return on_card(__func__, card, reserved);
}

uint32_t scard_ResetCard(CardHandle card) {
    return on_card(__func__, card);
}

uint32_t scard_BeginTransaction(CardHandle card) {
    return on_card(__func__, card);
}

uint32_t scard_EndTransaction(CardHandle card, uint32_t reserved) {
    return on_card(__func__, card, reserved);
}

uint32_t cpd_Execute(CardHandle card, const uint8_t *script, uint32_t scriptLength, uint32_t handlerCount,
                     const uint8_t *handlerBytes, const cpd_Handler *, uint32_t reserved) {
    return on_card(__func__, card, In{script, scriptLength}, In{handlerBytes, handlerCount}, reserved);
}

uint32_t cpd_ResetTransactedCard(CardHandle card, const uint8_t *data, uint32_t length) {
    return on_card(__func__, card, In{data, length});
}
}

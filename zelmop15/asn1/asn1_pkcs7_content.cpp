// ContentInfo: a value whose type follows the content type, in a holder of its own.
//
// Signed data holds a ContentInfo again, so that a message nests as deeply as its sender likes. All operations walk
// that chain without recursion: a message must not be able to use up the caller's stack.
#include "asn1/asn1_oid.h"
#include "asn1/asn1_pkcs7_coders.h"
#include "runtime/small_stack.h"

namespace {

using OwnedContentInfo = Owned<ContentInfo, asn1_ContentInfo_free>;
using asn1::SignedDataHead;
using asn1::SignedDataTail;

constexpr uint8_t wrapper_octet = 0xA0;

// ---- content types -------------------------------------------------------------------------------------------------

// How a value is handled. Signed data has no functions here, it is walked.
struct ContentCoder {
    const asn1_ObjId *(*type)(void);  // null: all other types
    asn1_element_e e;
    asn1_element_d d;
    asn1_element_free free;
    void *(*clone)(const void *);
};

template <class C>
constexpr ContentCoder coder(const asn1_ObjId *(*type)(void)) {
    return {type, C::e_thunk, C::d_thunk, C::free_thunk, C::clone_thunk};
}

namespace coders {
using EncryptedData = asn1::ASN1_RECORD_CODER(EncryptedData, asn1::sequence_octet);
}

constexpr ContentCoder content_coders[] = {
    coder<asn1::OctetString>(asn1_Get_data),
    {asn1_Get_signedData, nullptr, nullptr, nullptr, nullptr},
    coder<coders::EncryptedData>(asn1_Get_encryptedData),
    coder<asn1::Any>(nullptr),
};

const ContentCoder &coder_of(const asn1_ObjId *type) {
    const ContentCoder *row = content_coders;
    while (row->type != nullptr && asn1_ObjId_cmp(row->type(), type) != 0)
        ++row;
    return *row;
}

bool is_signed(const ContentCoder &row) {
    return row.type == asn1_Get_signedData;
}

void *value_of(const ContentInfo *info) {
    return info->content != nullptr ? info->content->value : nullptr;
}

// The signed data inside, or null.
SignedData *signed_data_of(const ContentInfo *info) {
    void *const value = info->contentType != nullptr ? value_of(info) : nullptr;
    return value != nullptr && is_signed(coder_of(info->contentType)) ? static_cast<SignedData *>(value) : nullptr;
}

// ---- decode --------------------------------------------------------------------------------------------------------

// A ContentInfo of which everything in front of an inner ContentInfo has been read.
struct DecodeFrame {
    asn1::Extent record;
    asn1::Extent wrapper;
    SignedData *signed_data;  // null: the chain ends here
    const uint8_t *signed_limit;
    bool wrapped;
    uint16_t level;
};

class Decoder {
  public:
    const uint8_t *decode(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, ContentInfo *&root, uint16_t level) {
        z = open(z, end, impl_tag, root, level);
        while (z != nullptr && frames_.top().signed_data != nullptr) {
            const DecodeFrame &frame = frames_.top();
            z = open(z, frame.signed_limit, 0, frame.signed_data->contentInfo, field_level(frame));
        }
        while (z != nullptr && !frames_.empty())
            z = close(z);
        return z;
    }

  private:
    // The level of the fields of the signed data.
    static uint16_t field_level(const DecodeFrame &frame) {
        return asn1::deeper(asn1::deeper(frame.level));
    }

    // Reads up to the inner ContentInfo, or the whole value where there is none. What is made is stored at once, so
    // that whoever releases the root finds everything.
    const uint8_t *open(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, ContentInfo *&info, uint16_t level) {
        DecodeFrame frame = {};
        frame.level = level;
        z = asn1::enter(z, end, impl_tag, asn1::sequence_octet, frame.record, level);
        if (z == nullptr)
            return nullptr;
        info = asn1_ContentInfo_new();
        if (info == nullptr || asn1::remaining(z, frame.record.limit) == 0)
            return nullptr;
        z = asn1_ObjId_d(z, frame.record.limit, 0, &info->contentType, asn1::deeper(level));
        frame.wrapped = z != nullptr && asn1::stands_at(z, frame.record.limit, wrapper_octet);
        if (frame.wrapped)
            z = open_value(z, *info, frame);
        return z != nullptr && frames_.push(frame) ? z : nullptr;
    }

    static const uint8_t *open_value(const uint8_t *z, const ContentInfo &info, DecodeFrame &frame) {
        const uint16_t level = asn1::deeper(frame.level);
        z = asn1::enter(z, frame.record.limit, 0, wrapper_octet, frame.wrapper, level);
        if (z == nullptr)
            return nullptr;
        const ContentCoder &row = coder_of(info.contentType);
        if (!is_signed(row))
            return row.d(z, frame.wrapper.limit, 0, &info.content->value, level);
        z = asn1::decode_header(z, frame.wrapper.limit, 0, frame.signed_limit, level);
        frame.signed_data = z != nullptr ? asn1_SignedData_new() : nullptr;
        info.content->value = frame.signed_data;
        if (frame.signed_data == nullptr)
            return nullptr;
        return SignedDataHead::decode_fields(z, frame.signed_limit, *frame.signed_data, field_level(frame));
    }

    const uint8_t *close(const uint8_t *z) {
        const DecodeFrame frame = frames_.top();
        frames_.pop();
        if (frame.signed_data != nullptr) {
            z = SignedDataTail::decode_fields(z, frame.signed_limit, *frame.signed_data, field_level(frame));
            if (z != nullptr)
                asn1_LogMessage(asn1::deeper(frame.level), "}\n");
        }
        if (z != nullptr && frame.wrapped)
            z = asn1::leave(z, frame.wrapper, asn1::deeper(frame.level));
        return z != nullptr ? asn1::leave(z, frame.record, frame.level) : nullptr;
    }

    SmallStack<DecodeFrame> frames_;
};

// ---- encode --------------------------------------------------------------------------------------------------------

// A ContentInfo with the lengths of its contents, from the outermost inwards.
struct EncodeFrame {
    const ContentInfo *info;
    const SignedData *signed_data;
    uint32_t record, wrapper, signed_content;
};

// Turns the length of a content into that of the whole element.
bool add_header(uint32_t &length) {
    return asn1::add_length(length, asn1_TagLength_e(nullptr, 0, length));
}

class Encoder {
  public:
    // Length of the whole; 0 when a part of it cannot be encoded.
    uint32_t measure(const ContentInfo *info) {
        while (info != nullptr) {
            const SignedData *const signed_data = signed_data_of(info);
            if (!frames_.push({info, signed_data, 0, 0, 0}))
                return 0;
            if (signed_data == nullptr)
                break;
            info = signed_data->contentInfo;
            if (info == nullptr)
                return 0;
        }
        uint32_t total = 0;
        for (size_t i = frames_.size(); i-- > 0;)
            if (!measure_frame(frames_[i], total))
                return 0;
        return total;
    }

    bool write(uint8_t **cursor) {
        for (size_t i = 0; i < frames_.size(); ++i)
            if (!write_front(cursor, frames_[i]))
                return false;
        uint32_t behind = 0;
        for (size_t i = frames_.size(); i-- > 0;) {
            const SignedData *const signed_data = frames_[i].signed_data;
            if (signed_data != nullptr && !SignedDataTail::encode_fields(cursor, *signed_data, behind))
                return false;
        }
        return true;
    }

  private:
    // `total` is the length of the ContentInfo inside, and becomes that of this one.
    static bool measure_frame(EncodeFrame &frame, uint32_t &total) {
        const ContentInfo *const info = frame.info;
        void *const value = value_of(info);
        frame.record = asn1_ObjId_e(nullptr, info->contentType);
        if (frame.record == 0)
            return false;
        if (frame.signed_data != nullptr) {
            if (!SignedDataHead::encode_fields(nullptr, *frame.signed_data, total) ||
                !SignedDataTail::encode_fields(nullptr, *frame.signed_data, total))
                return false;
            frame.signed_content = total;
            if (!add_header(total))
                return false;
        } else if (value != nullptr) {
            total = coder_of(info->contentType).e(nullptr, value);
        }
        if (value != nullptr) {
            frame.wrapper = total;
            if (total == 0 || !add_header(total) || !asn1::add_length(frame.record, total))
                return false;
        }
        total = frame.record;
        return add_header(total);
    }

    // Writes what stands in front of the inner ContentInfo, or all of it where there is none.
    static bool write_front(uint8_t **cursor, const EncodeFrame &frame) {
        asn1_TagLength_e(cursor, asn1::sequence_octet, frame.record);
        asn1_ObjId_e(cursor, frame.info->contentType);
        void *const value = value_of(frame.info);
        if (value == nullptr)
            return true;
        asn1_TagLength_e(cursor, wrapper_octet, frame.wrapper);
        if (frame.signed_data == nullptr)
            return coder_of(frame.info->contentType).e(cursor, value) != 0;
        asn1_TagLength_e(cursor, asn1::sequence_octet, frame.signed_content);
        uint32_t front = 0;
        return SignedDataHead::encode_fields(cursor, *frame.signed_data, front);
    }

    SmallStack<EncodeFrame> frames_;
};

// ---- clone and release ---------------------------------------------------------------------------------------------

// Copies a ContentInfo but for the inner one.
bool clone_but_inner(ContentInfo &to, const ContentInfo &from) {
    if (from.contentType == nullptr)
        return true;
    to.contentType = asn1_ObjId_clone(from.contentType);
    const void *const value = value_of(&from);
    if (to.contentType == nullptr || value == nullptr)
        return to.contentType != nullptr;
    const SignedData *const signed_data = signed_data_of(&from);
    if (signed_data == nullptr) {
        to.content->value = coder_of(from.contentType).clone(value);
        return to.content->value != nullptr;
    }
    SignedData *const copy = asn1_SignedData_new();
    to.content->value = copy;
    return copy != nullptr && SignedDataHead::clone_members(*copy, *signed_data) &&
           SignedDataTail::clone_members(*copy, *signed_data);
}

// Releases a ContentInfo but for the inner one, which it returns. A record whose content type could not be read has
// nothing to compare, and no value.
ContentInfo *free_but_inner(ContentInfo *info) {
    ContentInfo *inner = nullptr;
    if (SignedData *const signed_data = signed_data_of(info)) {
        inner = signed_data->contentInfo;
        signed_data->contentInfo = nullptr;
        asn1_SignedData_free(signed_data);
    } else if (info->contentType != nullptr && value_of(info) != nullptr) {
        coder_of(info->contentType).free(value_of(info));
    }
    asn1_ObjId_free(info->contentType);
    asn1_Content_free(info->content);
    std::free(info);
    return inner;
}

}  // namespace

extern "C" {

Content *asn1_Content_new(void) {
    return allocate<Content>();
}

void asn1_Content_free(Content *value) {
    std::free(value);
}

ContentInfo *asn1_ContentInfo_new(void) {
    OwnedContentInfo info(allocate<ContentInfo>());
    if (info == nullptr)
        return nullptr;
    info->content = asn1_Content_new();
    return info->content != nullptr ? info.release() : nullptr;
}

void asn1_ContentInfo_free(ContentInfo *value) {
    while (value != nullptr)
        value = free_but_inner(value);
}

ContentInfo *asn1_ContentInfo_clone(const ContentInfo *value) {
    OwnedContentInfo root;
    ContentInfo *parent = nullptr;
    while (value != nullptr) {
        ContentInfo *const copy = asn1_ContentInfo_new();
        if (parent == nullptr)
            root.reset(copy);
        else
            signed_data_of(parent)->contentInfo = copy;
        if (copy == nullptr || !clone_but_inner(*copy, *value))
            return nullptr;
        const SignedData *const signed_data = signed_data_of(value);
        value = signed_data != nullptr ? signed_data->contentInfo : nullptr;
        parent = copy;
    }
    return root.release();
}

uint32_t asn1_ContentInfo_e(uint8_t **cursor, const ContentInfo *value) {
    Encoder encoder;
    const uint32_t total = encoder.measure(value);
    return total != 0 && cursor != nullptr && !encoder.write(cursor) ? 0 : total;
}

const uint8_t *asn1_ContentInfo_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, ContentInfo **value,
                                  uint16_t level) {
    if (value == nullptr)
        return nullptr;
    *value = nullptr;
    ContentInfo *root = nullptr;
    z = Decoder().decode(z, end, impl_tag, root, level);
    OwnedContentInfo owned(root);
    if (z != nullptr)
        *value = owned.release();
    return z;
}
}

// Nested segments are walked with a stack on the heap, and their octets go straight into one buffer: depth costs
// neither C stack nor repeated copies.
#include "asn1/asn1_x680_segments.h"

#include <cstring>

#include "asn1/asn1_span.h"
#include "asn1/asn1_x680.h"
#include "runtime/small_stack.h"

namespace asn1 {
namespace {

// A constructed string whose segments are being read.
struct Frame {
    const uint8_t *limit;  // The segments' end; for an indefinite length two octets before the span's end.
    bool indefinite;
};

class StringReader {
  public:
    StringReader(const uint8_t *end, uint8_t tag, bool bits, uint16_t level)
        : end_(end), tag_(tag), bits_(bits), level_(level) {}

    const uint8_t *read(const uint8_t *z, uint8_t impl_tag, StringContent &content) {
        do {
            z = read_segment(z, impl_tag);
            impl_tag = 0;  // Segments carry the universal tag.
            if (z != nullptr)
                z = leave_finished(z);
        } while (z != nullptr && !frames_.empty());
        if (z == nullptr || !finish(content))
            return nullptr;
        return z;
    }

  private:
    const uint8_t *limit() {
        return frames_.empty() ? end_ : frames_.top().limit;
    }

    const uint8_t *read_segment(const uint8_t *z, uint8_t impl_tag) {
        uint32_t constructed = 0;
        uint32_t length = 0;
        uint32_t indefinite = 0;
        const uint8_t *span_end = limit();
        z = asn1_TagLength_d(z, span_end, impl_tag, tag_, &constructed, &length, &indefinite, level_);
        if (z == nullptr)
            return nullptr;
        if (constructed != 0)
            return enter(z, indefinite != 0 ? span_end : z + length, indefinite != 0);
        if (indefinite != 0)
            return read_unterminated(z, span_end);
        return take(z, length) ? z + length : nullptr;
    }

    const uint8_t *enter(const uint8_t *z, const uint8_t *end, bool indefinite) {
        if (indefinite && remaining(z, end) < 2)
            return nullptr;
        return frames_.push({indefinite ? end - 2 : end, indefinite}) ? z : nullptr;
    }

    // Primitive form with indefinite length: no valid encoding, but taken up to the first pair of zero octets.
    const uint8_t *read_unterminated(const uint8_t *z, const uint8_t *end) {
        for (const uint8_t *p = z; remaining(p, end) >= 2; ++p) {
            if (p[0] != 0 || p[1] != 0)
                continue;
            const auto length = static_cast<size_t>(p - z);
            return length <= UINT32_MAX && take(z, static_cast<uint32_t>(length)) ? asn1_eoc_d(p, end) : nullptr;
        }
        return nullptr;
    }

    // Leaves every constructed string that ends at `z`.
    const uint8_t *leave_finished(const uint8_t *z) {
        while (z != nullptr && !frames_.empty()) {
            const Frame frame = frames_.top();
            if (!frame.indefinite) {
                if (z < frame.limit)
                    return z;
            } else {
                if (z > frame.limit)
                    return nullptr;
                if (z[0] != 0 || z[1] != 0)
                    return z;
                z = asn1_eoc_d(z, frame.limit + 2);
            }
            frames_.pop();
            if (level_ != 0)
                asn1_LogMessage(static_cast<uint16_t>(level_ - 1), "}\n");
        }
        return z;
    }

    // Takes the content of one primitive segment.
    bool take(const uint8_t *z, uint32_t length) {
        if (bits_) {
            if (length == 0)
                return false;
            unused_bits_ = *z++;
            --length;
            asn1_LogMessage(level_, "  (%d unused bits)\n", static_cast<int>(unused_bits_));
            if (unused_bits_ > 7 || (length == 0 && unused_bits_ != 0))
                return false;
            if (!frames_.empty())
                unused_bits_ = 0;  // Segments are joined by whole octets.
        }
        asn1_LogByteArray(level_, z, length);
        return append(z, length);
    }

    bool append(const uint8_t *z, uint32_t length) {
        if (length == 0)
            return true;
        if (length > capacity_ - count_) {
            // The first segment is usually the only one and gets its exact size; later ones double it.
            const size_t capacity = count_ == 0 ? length : 2 * (static_cast<size_t>(count_) + length);
            if (!resize(capacity))
                return false;
        }
        std::memcpy(data_.get() + count_, z, length);
        count_ += length;
        return true;
    }

    bool resize(size_t capacity) {
        if (capacity > UINT32_MAX)
            return false;
        auto *data = static_cast<uint8_t *>(std::realloc(data_.get(), capacity));
        if (data == nullptr)
            return false;
        (void)data_.release();
        data_.reset(data);
        capacity_ = static_cast<uint32_t>(capacity);
        return true;
    }

    bool finish(StringContent &content) {
        if (count_ != capacity_ && !resize(count_))
            return false;
        content.data = std::move(data_);
        content.count = count_;
        content.unused_bits = unused_bits_;
        return true;
    }

    const uint8_t *const end_;
    const uint8_t tag_;
    const bool bits_;
    const uint16_t level_;
    SmallStack<Frame> frames_;
    OwnedBlock<uint8_t> data_;
    uint32_t count_ = 0;
    uint32_t capacity_ = 0;
    uint32_t unused_bits_ = 0;
};

}  // namespace

const uint8_t *read_string(const uint8_t *z, const uint8_t *end, uint8_t impl_tag, uint8_t tag, bool bits,
                           StringContent &content, uint16_t level) {
    return StringReader(end, tag, bits, level).read(z, impl_tag, content);
}

}  // namespace asn1

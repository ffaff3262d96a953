// SecurityCondition, a tree of any depth. All its operations walk the tree without recursion: the input alone limits
// the nesting, and a card must not be able to use up the caller's stack.
#include "asn1/asn1_pkcs15_coders.h"
#include "asn1/asn1_span.h"
#include "runtime/small_stack.h"

namespace {

enum Kind : uint32_t { not_ = 0, and_ = 1, or_ = 2, auth_id = 4 };

constexpr uint8_t number_mask = 0x1F;
constexpr uint8_t context = 0x80;

using OwnedCondition = Owned<SecurityCondition, asn1_SecurityCondition_free>;

bool is_list(const SecurityCondition *condition) {
    return condition->tag == and_ || condition->tag == or_;
}

List *list_of(const SecurityCondition *condition) {
    return static_cast<List *>(condition->value);
}

// ---- release -------------------------------------------------------------------------------------------------------

// Frees a condition but for the list it holds, which it returns.
List *free_but_list(SecurityCondition *condition) {
    while (condition != nullptr) {
        SecurityCondition *const self = condition;
        condition = nullptr;
        List *list = nullptr;
        if (is_list(self))
            list = list_of(self);
        else if (self->tag == not_)
            condition = static_cast<SecurityCondition *>(self->value);
        else if (self->tag == auth_id)
            asn1_OctetString_free(static_cast<asn1_OctetString *>(self->value));
        std::free(self);
        if (list != nullptr)
            return list;
    }
    return nullptr;
}

// ---- decode --------------------------------------------------------------------------------------------------------

// A list whose elements are being read.
struct DecodeFrame {
    List *list;
    const uint8_t *limit;
    bool indefinite;
    uint16_t level;
};

class Decoder {
  public:
    const uint8_t *decode(const uint8_t *z, const uint8_t *end, uint16_t level, OwnedCondition &root) {
        z = decode_one(z, end, level, root);
        while (z != nullptr && (z = leave_finished(z)) != nullptr && !frames_.empty()) {
            const DecodeFrame frame = frames_.top();
            const auto element_level = static_cast<uint16_t>(frame.level != 0 ? frame.level + 1 : 0);
            OwnedCondition element;
            z = decode_one(z, frame.limit, element_level, element, frame.list);
        }
        return z;
    }

  private:
    // Decodes one condition up to its first element, if it is a list. It is stored in `condition`, or in `parent` when
    // there is one: at once, so that whatever fails later finds everything in the tree.
    const uint8_t *decode_one(const uint8_t *z, const uint8_t *limit, uint16_t level, OwnedCondition &condition,
                              List *parent = nullptr) {
        if (asn1::remaining(z, limit) < 1)
            return nullptr;
        condition.reset(asn1_SecurityCondition_new());
        if (condition == nullptr)
            return nullptr;
        SecurityCondition *const self = condition.get();
        if (parent != nullptr) {
            if (List_append(parent, self, nullptr) == nullptr)
                return nullptr;
            (void)condition.release();
        }
        self->tag = *z & number_mask;
        switch (self->tag) {
            case and_:
            case or_:
                return enter_list(z, limit, level, self);
            case not_:
                return decode_not(z, limit, level, self);
            case auth_id:
                return decode_octets(z, limit, 0, level, self);
            default:
                return nullptr;
        }
    }

    static const uint8_t *decode_octets(const uint8_t *z, const uint8_t *limit, uint8_t impl_tag, uint16_t level,
                                        SecurityCondition *condition) {
        asn1_OctetString *octets = nullptr;
        z = asn1_OctetString_d(z, limit, impl_tag, &octets, level);
        condition->value = octets;
        return z;
    }

    // Read as an octet string, `not` holds a condition that names these octets: written again it gives the same bytes.
    static const uint8_t *decode_not(const uint8_t *z, const uint8_t *limit, uint16_t level, SecurityCondition *self) {
        SecurityCondition *const inner = asn1_SecurityCondition_new();
        if (inner == nullptr)
            return nullptr;
        inner->tag = auth_id;
        self->value = inner;
        return decode_octets(z, limit, context, level, inner);
    }

    const uint8_t *enter_list(const uint8_t *z, const uint8_t *end, uint16_t level, SecurityCondition *self) {
        List *const list = List_new(0);
        self->value = list;
        if (list == nullptr)
            return nullptr;
        uint32_t length = 0;
        uint32_t indefinite = 0;
        const auto expected = static_cast<uint8_t>(context | asn1::constructed_bit | self->tag);
        z = asn1_TagLength_d(z, end, expected, asn1::sequence_octet, nullptr, &length, &indefinite, level);
        if (z == nullptr || (indefinite != 0 && asn1::remaining(z, end) < 2))
            return nullptr;
        const uint8_t *const limit = indefinite != 0 ? end - 2 : z + length;
        return frames_.push({list, limit, indefinite != 0, level}) ? z : nullptr;
    }

    // Leaves every list whose elements end at `z`. An indefinite list fills its span: end-of-contents is the span's
    // end.
    const uint8_t *leave_finished(const uint8_t *z) {
        while (z != nullptr && !frames_.empty() && z >= frames_.top().limit) {
            const DecodeFrame frame = frames_.top();
            frames_.pop();
            if (frame.indefinite)
                z = asn1_eoc_d(z, frame.limit + 2);
            if (z != nullptr)
                asn1_LogMessage(frame.level, "}\n");
        }
        return z;
    }

    SmallStack<DecodeFrame> frames_;
};

// ---- encode --------------------------------------------------------------------------------------------------------

// A condition with the length of its content; in the order in which headers are written.
struct EncodeNode {
    const SecurityCondition *condition;
    size_t parent;
    int32_t next;  // element to look at
    uint32_t content;
};

class Encoder {
  public:
    // Measures the whole tree; false when a part of it cannot be encoded.
    bool measure(const SecurityCondition *root, uint32_t &total) {
        if (!enter(root, 0))
            return false;
        for (size_t current = 0;;) {
            const SecurityCondition *child = next_child(nodes_[current]);
            if (child != nullptr) {
                if (!enter(child, current))
                    return false;
                current = nodes_.size() - 1;
                continue;
            }
            if (failed_ || !whole_length(nodes_[current], total))
                return false;
            if (current == 0)
                return true;
            current = nodes_[current].parent;
            if (!asn1::add_length(nodes_[current].content, total))
                return false;
        }
    }

    void write(uint8_t **cursor) {
        bool negated = false;
        for (size_t i = 0; i < nodes_.size(); ++i) {
            const SecurityCondition *const condition = nodes_[i].condition;
            if (condition->tag == not_) {
                negated = true;
                continue;
            }
            uint8_t *const start = *cursor;
            if (is_list(condition))
                asn1_TagLength_e(cursor, static_cast<uint8_t>(context | asn1::constructed_bit | condition->tag),
                                 nodes_[i].content);
            else
                asn1_OctetString_e(cursor, static_cast<const asn1_OctetString *>(condition->value));
            // Implicit tagging: the octet changes, its constructed bit stays.
            if (negated)
                *start = static_cast<uint8_t>((*start & asn1::constructed_bit) | context);
            negated = false;
        }
    }

  private:
    bool enter(const SecurityCondition *condition, size_t parent) {
        if (condition->tag == not_)
            ZELMO_ASSERT(condition->value != nullptr, "pElement");
        if (is_list(condition) && condition->value == nullptr)
            return false;
        return nodes_.push({condition, parent, 0, 0});
    }

    // The next condition inside this one that has not been looked at; a null element fails the whole.
    const SecurityCondition *next_child(EncodeNode &node) {
        const int32_t index = node.next++;
        if (node.condition->tag == not_)
            return index == 0 ? static_cast<const SecurityCondition *>(node.condition->value) : nullptr;
        if (!is_list(node.condition) || index >= List_len(list_of(node.condition)))
            return nullptr;
        const auto *child = static_cast<const SecurityCondition *>(List_get(list_of(node.condition), index));
        failed_ = child == nullptr;
        return child;
    }

    static bool whole_length(const EncodeNode &node, uint32_t &total) {
        switch (node.condition->tag) {
            case not_:
                total = node.content;
                return total != 0;
            case and_:
            case or_:
                total = asn1_TagLength_e(nullptr, 0, node.content);
                return asn1::add_length(total, node.content);
            case auth_id:
                total = asn1_OctetString_e(nullptr, static_cast<const asn1_OctetString *>(node.condition->value));
                return total != 0;
            default:
                return false;
        }
    }

    SmallStack<EncodeNode> nodes_;
    bool failed_ = false;
};

// ---- clone ---------------------------------------------------------------------------------------------------------

struct CloneFrame {
    const SecurityCondition *from;
    SecurityCondition *to;
    int32_t next;
};

class Cloner {
  public:
    bool clone(const SecurityCondition *from, SecurityCondition *to) {
        if (!start(from, to))
            return false;
        while (!frames_.empty()) {
            CloneFrame &frame = frames_.top();
            if (frame.next == List_len(list_of(frame.from))) {
                frames_.pop();
                continue;
            }
            const auto *element = static_cast<const SecurityCondition *>(List_get(list_of(frame.from), frame.next++));
            List *const list = list_of(frame.to);
            OwnedCondition copy(element != nullptr ? asn1_SecurityCondition_new() : nullptr);
            if (copy == nullptr || List_append(list, copy.get(), nullptr) == nullptr || !start(element, copy.release()))
                return false;
        }
        return true;
    }

  private:
    // Copies a condition but for the elements of its list. What the original lacks, the copy lacks too.
    bool start(const SecurityCondition *from, SecurityCondition *to) {
        while (from->tag == not_) {
            to->tag = not_;
            if (from->value == nullptr)
                return true;
            SecurityCondition *const inner = asn1_SecurityCondition_new();
            to->value = inner;
            if (inner == nullptr)
                return false;
            from = static_cast<const SecurityCondition *>(from->value);
            to = inner;
        }
        if (!is_list(from) && from->tag != auth_id)
            return false;
        to->tag = from->tag;
        if (from->value == nullptr)
            return true;
        if (!is_list(from)) {
            to->value = asn1_OctetString_clone(static_cast<const asn1_OctetString *>(from->value));
            return to->value != nullptr;
        }
        to->value = List_new(List_len(list_of(from)));
        return to->value != nullptr && frames_.push({from, to, 0});
    }

    SmallStack<CloneFrame> frames_;
};

}  // namespace

extern "C" {

SecurityCondition *asn1_SecurityCondition_new(void) {
    return allocate<SecurityCondition>();
}

// Release must not need memory. A list on the way down keeps its parent in the place of the element just taken out.
void asn1_SecurityCondition_free(SecurityCondition *value) {
    List *list = free_but_list(value);
    List *parent = nullptr;
    while (list != nullptr) {
        if (list->count == 0) {
            List_free(list, nullptr);
            list = parent;
            if (list != nullptr)
                parent = static_cast<List *>(list->elements[list->count]);
            continue;
        }
        --list->count;
        List *const child = free_but_list(static_cast<SecurityCondition *>(list->elements[list->count]));
        if (child != nullptr) {
            list->elements[list->count] = parent;
            parent = list;
            list = child;
        }
    }
}

SecurityCondition *asn1_SecurityCondition_clone(const SecurityCondition *value) {
    if (value == nullptr)
        return nullptr;
    OwnedCondition clone(asn1_SecurityCondition_new());
    if (clone == nullptr || !Cloner().clone(value, clone.get()))
        return nullptr;
    return clone.release();
}

uint32_t asn1_SecurityCondition_e(uint8_t **cursor, const SecurityCondition *value) {
    Encoder encoder;
    uint32_t total = 0;
    if (value == nullptr || !encoder.measure(value, total))
        return 0;
    if (cursor != nullptr)
        encoder.write(cursor);
    return total;
}

const uint8_t *asn1_SecurityCondition_d(const uint8_t *z, const uint8_t *end, uint8_t impl_tag,
                                        SecurityCondition **value, uint16_t level) {
    ZELMO_ASSERT(impl_tag == 0, "impl_tag == 0");
    *value = nullptr;
    OwnedCondition root;
    z = Decoder().decode(z, end, level, root);
    if (z != nullptr)
        *value = root.release();
    return z;
}
}

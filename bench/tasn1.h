// libtasn1 with the module pkcs15.asn, as the comparison.
#ifndef ZELMOP15_BENCH_TASN1_H
#define ZELMOP15_BENCH_TASN1_H

#include <cstdint>
#include <libtasn1.h>
#include <span>
#include <vector>

namespace bench {

/// The parsed module. Throws std::runtime_error when anything fails, so that no failure is timed.
class Tasn1 {
  public:
    Tasn1();
    ~Tasn1();
    Tasn1(const Tasn1 &) = delete;
    Tasn1 &operator=(const Tasn1 &) = delete;

    /// The decoded value, to be released with asn1_delete_structure().
    asn1_node decode(const char *type, std::span<const uint8_t> der) const;
    /// Writes the value into the buffer; its length.
    static size_t encode(asn1_node value, std::vector<uint8_t> &buffer);

  private:
    asn1_node module_ = nullptr;
};

}  // namespace bench

#endif

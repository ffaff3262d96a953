// Access conditions of files and the security status they are held against.
#ifndef VIRTUALCARD_ACCESS_H
#define VIRTUALCARD_ACCESS_H

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <utility>
#include <vector>

namespace virtualcard {

/// A condition, possibly built from others.
struct AccessCondition {
    enum class Kind : uint8_t { always, never, pin, key, all, any };
    Kind kind = Kind::always;
    uint8_t reference = 0;                  ///< pin, key: which one.
    std::vector<AccessCondition> operands;  ///< all, any: the conditions that are joined.
};

struct File;

enum class SecretKind : uint8_t { pin, key };

/// What has been proven to the card since its last reset, and in which application. A reference with the top bit set
/// (specific reference data of ISO/IEC 7816-4) counts in the application in which it was proven, and no longer once
/// another one is current; any other counts everywhere.
class SecurityStatus {
  public:
    bool holds(SecretKind kind, uint8_t reference) const;
    /// The secret has been proven while `application` was current.
    void add(SecretKind kind, uint8_t reference, const File *application);
    void drop(SecretKind kind, uint8_t reference);
    /// `application` is current now.
    void enter(const File *application);
    /// Drops each secret that has been proven in an application which `affects` names.
    void dropProvenIn(const std::function<bool(const File *application)> &affects);
    /// The references of a kind that hold, in ascending order.
    std::vector<uint8_t> references(SecretKind kind) const;

  private:
    // Kind and reference; the applications in which it was proven.
    std::map<std::pair<SecretKind, uint8_t>, std::set<const File *>> proofs_;
};

/// Whether `status` meets `condition`. An `all` of nothing is met, an `any` of nothing is not.
bool satisfied(const AccessCondition &condition, const SecurityStatus &status);

}  // namespace virtualcard

#endif

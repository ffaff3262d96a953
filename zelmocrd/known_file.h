// What is known of the file that is selected on a card.
#ifndef ZELMOCRD_KNOWN_FILE_H
#define ZELMOCRD_KNOWN_FILE_H

#include <optional>

#include "zelmocrd/apdu.h"
#include "zelmocrd/wiped.h"
#include "zelmocrd/zelmocrd.h"

namespace zelmocrd {

/// The current file of a card, as the commands that went there have made it. Worth something only while nobody else can
/// command the card, which its owner sees to.
class KnownFile {
  public:
    using Octets = std::span<const uint8_t>;

    /// Nothing is known any more.
    void forget();
    /// What a command and its answer leave of the knowledge. A selection is told with selected() after it.
    void note(const Command &command, uint16_t sw);

    /// The file at `path` in the application `name`, or under the root where that is empty, is selected now. `info` is
    /// what the card told of it; null when it was not asked.
    void selected(Octets name, Octets path, const FileInfo *info);
    /// Whether selecting this file would change nothing; its records must not have been touched since it was selected.
    bool isSelected(Octets name, Octets path) const;
    /// What the card told when it was selected; null when it was not asked.
    const FileInfo *info() const {
        return info_ ? &*info_ : nullptr;
    }
    /// Whether paths from the current DF are taken inside this application.
    bool isInside(Octets name) const;

    /// The octets at the start of the current file, and whether these are all.
    void keepStart(Octets octets, bool whole);
    /// Those kept; empty when there are none.
    Octets start() const {
        return start_ ? start_->span() : Octets();
    }
    bool startIsWhole() const {
        return whole_;
    }

  private:
    void forgetStart() {
        start_.reset();
        whole_ = false;
    }

    bool selected_ = false;
    bool untouched_ = false;  // whether the record pointer is where the selection has put it
    Bytes name_, path_;
    std::optional<FileInfo> info_;
    std::optional<Wiped> start_;
    bool whole_ = false;
};

}  // namespace zelmocrd

#endif

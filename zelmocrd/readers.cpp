// Reader names and what they stand for.
#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "zelmocrd/error.h"
#include "zelmocrd/transport.h"
#include "zelmocrd/virtual_transport.h"

namespace zelmocrd {

namespace {

constexpr std::string_view virtualPrefix = "virtual:";
constexpr const char *imageDirectoryVariable = "ZELMOCRD_CARDS";

}  // namespace

std::unique_ptr<Transport> openTransport(const std::string &readerName) {
    if (readerName.starts_with(virtualPrefix))
        return openVirtualCard(readerName.substr(virtualPrefix.size()));
    throw ServiceError(code::unknownReader, readerName + ": there is no such reader");
}

std::vector<std::string> readerNames() {
    std::vector<std::string> names;
    const char *directory = std::getenv(imageDirectoryVariable);
    if (directory == nullptr || *directory == '\0')
        return names;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(directory, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().extension() == ".card")
            names.push_back(std::string(virtualPrefix) + entry->path().string());
    }
    if (error)
        throw ServiceError(code::noReaders);
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace zelmocrd

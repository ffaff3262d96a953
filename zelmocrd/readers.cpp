#include "zelmocrd/readers.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>

#include "zelmocrd/error.h"
#include "zelmocrd/pcsc_context.h"
#include "zelmocrd/pcsc_transport.h"
#include "zelmocrd/virtual_transport.h"

namespace zelmocrd {

namespace {

constexpr std::string_view virtualPrefix = "virtual:";
constexpr const char *imageDirectoryVariable = "ZELMOCRD_CARDS";

}  // namespace

std::vector<std::string> virtualReaderNames() {
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

namespace {

bool isVirtual(const std::string &name) {
    return name.starts_with(virtualPrefix);
}

std::string fileOf(const std::string &name) {
    return name.substr(virtualPrefix.size());
}

// The name that is meant: the whole name, else the number in the list, else the beginning that only one name has. Any
// virtual card may be named, listed or not.
std::string meantReader(const std::string &text) {
    if (isVirtual(text))
        return text;
    const Readers readers = listReaders();
    const std::vector<std::string> &names = readers.names;
    if (names.empty() && readers.serviceResult != code::ok)
        throw ServiceError(readers.serviceResult);
    if (std::find(names.begin(), names.end(), text) != names.end())
        return text;
    size_t number = 0;
    const char *const end = text.data() + text.size();
    const auto [behind, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc() && behind == end && number < names.size())
        return names[number];
    const auto begins = [&](const std::string &name) { return !text.empty() && name.starts_with(text); };
    const auto first = std::find_if(names.begin(), names.end(), begins);
    if (first == names.end())
        throw ServiceError(code::unknownReader, text + ": there is no such reader");
    if (std::find_if(first + 1, names.end(), begins) != names.end())
        throw ServiceError(code::unknownReader, text + ": more than one reader's name begins like this");
    return *first;
}

}  // namespace

Readers listReaders() {
    Readers readers;
    try {
        readers.names = PcscContext().readerNames();
    } catch (const ServiceError &error) {
        readers.serviceResult = error.code;
    }
    const std::vector<std::string> files = virtualReaderNames();
    readers.names.insert(readers.names.end(), files.begin(), files.end());
    return readers;
}

bool hasCard(const std::string &readerName) {
    const std::string name = meantReader(readerName);
    std::error_code ignored;
    return isVirtual(name) ? std::filesystem::exists(fileOf(name), ignored)
                           : (PcscContext().stateOf(name).state & SCARD_STATE_PRESENT) != 0;
}

std::unique_ptr<Transport> openTransport(const std::string &readerName, bool exclusive) {
    const std::string name = meantReader(readerName);
    return isVirtual(name) ? openVirtualCard(fileOf(name), exclusive) : openPcscCard(name, exclusive);
}

}  // namespace zelmocrd

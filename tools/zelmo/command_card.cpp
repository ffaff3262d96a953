#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "commands.h"
#include "image_text.h"
#include "output.h"
#include "profile.h"
#include "text.h"

namespace zelmo {

namespace {

const Profile &profileNamed(const std::string &name) {
    const auto found = std::find_if(profiles().begin(), profiles().end(),
                                    [&](const Profile &profile) { return name == profile.name; });
    if (found == profiles().end())
        throw Failure(Exit::usage, fmt::format("there is no profile {}; see 'zelmo card new --help'", printable(name)));
    return *found;
}

}  // namespace

Exit runCardNew(const Options &options) {
    const Profile &profile = profileNamed(options.profile);
    std::error_code ignored;
    if (!options.force && std::filesystem::exists(std::filesystem::symlink_status(options.file, ignored)))
        throw Failure(Exit::failure, fmt::format("{} exists already; choose another name, or overwrite it with --force",
                                                 printable(options.file)));
    const virtualcard::CardImage image = profile.make();
    try {
        virtualcard::writeImage(options.file, image);
    } catch (const virtualcard::ImageError &error) {
        throw Failure(Exit::failure, fmt::format("cannot write the image: {}; name a file that can be written",
                                                 printable(error.what())));
    }
    fmt::print(stderr, "Made {}: {}.{}\n", printable(options.file), profile.description,
               image.pins.empty() ? "" : " PIN 1234, PUK 12345678.");
    return Exit::ok;
}

Exit runCardShow(const Options &options) {
    std::error_code ignored;
    if (!std::filesystem::exists(options.file, ignored))
        throw Failure(Exit::noCard,
                      fmt::format("there is no file {}; make one with 'zelmo card new'", printable(options.file)));
    Output output;
    try {
        printImage(output, virtualcard::readImage(options.file));
    } catch (const virtualcard::ImageError &error) {
        throw Failure(Exit::malformed,
                      fmt::format("cannot read the image: {}; see docs/image-format.md", printable(error.what())));
    }
    output.flush();
    return Exit::ok;
}

}  // namespace zelmo

// zelmo, the command: reads the command line and runs one subcommand.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <fmt/format.h>
#include <new>
#include <sstream>

#include "commands.h"
#include "log.h"
#include "output.h"
#include "profile.h"
#include "text.h"

namespace {

using zelmo::Exit;
using zelmo::Failure;
using zelmo::Options;

using Run = Exit (*)(const Options &options);

constexpr const char *exit_codes =
    "Exit codes: 0 ok, 1 failure, 2 usage, 3 no reader or card, 4 PIN wrong, 5 PIN blocked,\n"
    "6 not found, 7 access denied, 8 card or token malformed, 9 signature refused.";

/// Adds a subcommand that makes `chosen` its function.
CLI::App *addCommand(CLI::App &parent, const char *name, const char *description, const char *examples, Run run,
                     Run &chosen) {
    CLI::App *command = parent.add_subcommand(name, description);
    command->footer(std::string("Examples:\n") + examples);
    command->callback([run, &chosen] { chosen = run; });
    command->fallthrough();
    return command;
}

void addCardCommands(CLI::App &app, Options &options, Run &chosen) {
    CLI::App *card = app.add_subcommand("card", "Make and show virtual cards");
    card->require_subcommand(1);
    card->fallthrough();
    card->footer("Examples:\n  zelmo card new demo.card\n  zelmo card show demo.card");
    CLI::App *make = addCommand(*card, "new", "Make the image of a new virtual card",
                                "  zelmo card new demo.card\n  zelmo card new --profile records --force demo.card",
                                zelmo::runCardNew, chosen);
    std::string profiles = "Kind of card:";
    for (const zelmo::Profile &profile : zelmo::profiles())
        profiles += fmt::format("\n{} - {}", profile.name, profile.description);
    make->add_option("FILE", options.file, "Image file to make")->required();
    make->add_option("--profile", options.profile, profiles)->type_name("NAME")->capture_default_str();
    make->add_flag("--force", options.force, "Overwrite a file that exists");
    CLI::App *show = addCommand(*card, "show", "Show the files of a virtual card, without the values of PINs and keys",
                                "  zelmo card show demo.card", zelmo::runCardShow, chosen);
    show->add_option("FILE", options.file, "Image file to show")->required();
}

void addCommands(CLI::App &app, Options &options, Run &chosen) {
    addCommand(app, "readers", "List the readers",
               "  zelmo readers\n  ZELMOCRD_CARDS=$HOME/cards zelmo readers      (virtual cards of a folder)",
               zelmo::runReaders, chosen);
    CLI::App *list = addCommand(app, "list", "List the token and all its objects",
                                "  zelmo --reader virtual:demo.card list\n"
                                "  zelmo --reader virtual:demo.card list --json\n"
                                "  zelmo --reader virtual:demo.card --log debug:zelmo.log --trace list",
                                zelmo::runList, chosen);
    list->add_flag("--json", options.json, "Print JSON, as docs/zelmo.md describes it");
    list->add_option("--aid", options.aid, "Open this application in the place of the PKCS#15 one")->type_name("HEX");
    CLI::App *apps = addCommand(app, "apps", "List the applications that the card's EF.DIR names",
                                "  zelmo --reader virtual:demo.card apps\n"
                                "  zelmo --reader virtual:demo.card apps --json",
                                zelmo::runApps, chosen);
    apps->add_flag("--json", options.json, "Print JSON, as docs/zelmo.md describes it");
    addCardCommands(app, options, chosen);
}

void addOptions(CLI::App &app, Options &options) {
    app.set_version_flag("--version", "zelmo " ZELMO_VERSION);
    app.add_option("--reader", options.reader, "Reader to use; virtual:FILE is the virtual card in an image file")
        ->type_name("NAME");
    app.add_option("--log", options.log,
                   "Write the library's log: off, error, warn, info, trace or debug; to stderr, or appended to FILE")
        ->type_name("LEVEL[:FILE]");
    app.add_flag("--trace", options.trace,
                 "Trace card commands and ASN.1 on stderr; data of PIN and key commands is masked");
    app.footer(std::string("Examples:\n  zelmo card new demo.card\n  zelmo --reader virtual:demo.card list\n\n") +
               exit_codes);
    app.require_subcommand(1);
}

Exit fail(Exit exit, const std::string &line) {
    std::fprintf(stderr, "zelmo: %s\n", line.c_str());
    return exit;
}

/// Writes what --help and --version ask for; anything else is a mistake in the command line.
Exit answer(const CLI::App &app, const CLI::ParseError &error) {
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success)) {
        // A word that is no subcommand is left over, and worth more than the remark that one is missing.
        const std::vector<std::string> rest = app.remaining();
        const std::string what = rest.empty() ? error.what() : fmt::format("'{}' means nothing here", rest.front());
        return fail(Exit::usage, fmt::format("{}; see 'zelmo --help'", zelmo::printable(what)));
    }
    std::ostringstream text;
    app.exit(error, text, text);
    zelmo::Output output;
    output.print("{}", text.str());
    output.flush();
    return Exit::ok;
}

Exit run(int argc, char **argv) {
    Options options;
    Run chosen = nullptr;
    CLI::App app("Reads PKCS#15 tokens on smart cards.", "zelmo");
    addOptions(app, options);
    addCommands(app, options, chosen);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return answer(app, error);
    }
    const zelmo::Log log(options.log, options.trace);
    return chosen(options);
}

}  // namespace

int main(int argc, char **argv) {
    try {
        return static_cast<int>(run(argc, argv));
    } catch (const Failure &failure) {
        return static_cast<int>(fail(failure.exit(), failure.what()));
    } catch (const std::bad_alloc &) {
        return static_cast<int>(fail(Exit::failure, "out of memory; close other programs and try again"));
    } catch (const std::exception &error) {
        return static_cast<int>(fail(Exit::failure, zelmo::printable(error.what())));
    }
}

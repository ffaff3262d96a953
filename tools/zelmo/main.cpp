// zelmo, the command: reads the command line and runs one subcommand.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <fmt/format.h>
#include <limits>
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

CLI::App *addGroup(CLI::App &app, const char *name, const char *description, const char *examples) {
    CLI::App *group = app.add_subcommand(name, description);
    group->require_subcommand(1);
    group->fallthrough();
    group->footer(std::string("Examples:\n") + examples);
    return group;
}

void addAid(CLI::App &command, Options &options) {
    command.add_option("--aid", options.aid, "Open this application in the place of the PKCS#15 one")->type_name("HEX");
}

void addJson(CLI::App &command, Options &options) {
    command.add_flag("--json", options.json, "Print JSON, as docs/zelmo.md describes it");
}

void addCardCommands(CLI::App &app, Options &options, Run &chosen) {
    CLI::App *card =
        addGroup(app, "card", "Make and show virtual cards", "  zelmo card new demo.card\n  zelmo card show demo.card");
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

void addPassphrase(CLI::App &command, Options &options) {
    command
        .add_option("--passphrase-fd", options.passphraseFd,
                    "Read passphrases of encrypted keys from this open descriptor, a line each")
        ->type_name("N")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()).description(""));
}

CLI::Option *addOutput(CLI::App &command, Options &options) {
    return command.add_option("-o,--output", options.output, "File to write to")->type_name("FILE");
}

void addSigningCommands(CLI::App &script, Options &options, Run &chosen) {
    CLI::App *sign = addCommand(script, "sign", "Sign a script, so that 'zelmo init' runs it",
                                "  zelmo script sign InitToken1501.cpd --key signer.key.pem --cert signer.pem "
                                "-o InitToken1501.sig",
                                zelmo::runScriptSign, chosen);
    sign->add_option("FILE", options.file, "Script to sign")->required();
    sign->add_option("--key", options.key, "The signer's RSA key, PEM")->type_name("FILE")->required();
    sign->add_option("--cert", options.certificate, "The signer's certificate, PEM")->type_name("FILE")->required();
    addOutput(*sign, options)->required();
    addPassphrase(*sign, options);
    CLI::App *verify =
        addCommand(script, "verify", "Tell whether a script is genuine, and if not, why",
                   "  zelmo script verify InitToken1501.cpd InitToken1501.sig", zelmo::runScriptVerify, chosen);
    verify->add_option("FILE", options.file, "Script")->required();
    verify->add_option("SIGNATURE", options.signature, "Its signature")->required();
    CLI::App *issue = addCommand(
        script, "issue-signer", "Issue the certificate of somebody who signs scripts",
        "  zelmo script issue-signer --root-key root.key.pem -o signer.pem\n"
        "  zelmo script issue-signer --root-key root.key.pem --key ann.key.pem --name \"Ann Example\" -o ann.pem",
        zelmo::runScriptIssueSigner, chosen);
    issue->add_option("--root-key", options.rootKey, "The trusted root's key, PEM")->type_name("FILE")->required();
    issue
        ->add_option(
            "--key", options.key,
            "The signer's RSA key, PEM; made if there is no such file. Without it: signer.key.pem for signer.pem")
        ->type_name("FILE");
    issue->add_option("--name", options.name, "The signer's name")->type_name("TEXT")->capture_default_str();
    constexpr int most_days = 36500;
    issue->add_option("--days", options.days, "Days that the certificate is valid, which the library does not look at")
        ->type_name("N")
        ->check(CLI::Range(1, most_days).description(""))
        ->capture_default_str();
    addOutput(*issue, options)->required();
    addPassphrase(*issue, options);
}

void addScriptCommands(CLI::App &app, Options &options, Run &chosen) {
    CLI::App *script = addGroup(app, "script", "Make, show, sign and verify personalisation scripts",
                                "  zelmo script build token.json -o InitToken1501.cpd\n"
                                "  zelmo script issue-signer --root-key root.key.pem -o signer.pem\n"
                                "  zelmo script sign InitToken1501.cpd --key signer.key.pem --cert signer.pem "
                                "-o InitToken1501.sig\n"
                                "  zelmo script verify InitToken1501.cpd InitToken1501.sig\n\n"
                                "'zelmo init' runs the script that is called after the card's model, here 1501.");
    CLI::App *build = addCommand(*script, "build", "Make the script that turns a blank card into a profile's token",
                                 "  zelmo script build token.json -o InitToken1501.cpd", zelmo::runScriptBuild, chosen);
    build->add_option("PROFILE", options.file, "Profile of the token, as docs/script-format.md describes it")
        ->required();
    addOutput(*build, options)->required();
    CLI::App *show = addCommand(*script, "show", "Show a script's instructions, without the values of PINs and keys",
                                "  zelmo script show InitToken1501.cpd", zelmo::runScriptShow, chosen);
    show->add_option("FILE", options.file, "Script to show")->required();
    addSigningCommands(*script, options, chosen);
}

/// PINs are no arguments: other processes can see those.
void addPinSource(CLI::App &command, Options &options) {
    CLI::Option *descriptor =
        command.add_option("--pin-fd", options.pinFd, "Read PINs from this open descriptor, a line each")
            ->type_name("N")
            ->check(CLI::Range(0, std::numeric_limits<int>::max()).description(""));
    command.add_option("--pin-file", options.pinFile, "Read PINs from a file that only you can read, a line each")
        ->type_name("FILE")
        ->excludes(descriptor);
    command.add_option("--lang", options.language, "Language of the PIN dialog: en, de, fr, sk, es, pt, it or bg")
        ->type_name("CODE");
}

void addInit(CLI::App &app, Options &options, Run &chosen) {
    CLI::App *init = addCommand(
        app, "init", "Make a card a token by a signed script, and give it its owner's PIN and PUK",
        "  zelmo --reader virtual:blank.card init --prefix scripts/ --label \"Ann's token\" --serial 0011223344556677\n"
        "  printf '%s\\n' \"$PIN\" \"$PUK\" | zelmo --reader virtual:blank.card init --prefix scripts/ --pin-fd 0",
        zelmo::runInit, chosen);
    init->add_option("--prefix", options.prefix,
                     "What stands before the name InitToken1501.cpd, for a card of model 1501: a folder with its slash")
        ->type_name("FOLDER/");
    init->add_option("--label", options.label, "Label of the token, up to 32 octets; without it, the script's")
        ->type_name("TEXT");
    init->add_option("--serial", options.serial, "Serial number of the token, 16 hexadecimal digits")
        ->type_name("DIGITS");
    init->add_flag("--no-puk", options.noPuk, "Give no PUK: it will be blocked for good");
    CLI::Option *descriptor = init->add_option("--admin-key-fd", options.adminKeyFd,
                                               "Read the administration key, in hexadecimal, from this open descriptor")
                                  ->type_name("N")
                                  ->check(CLI::Range(0, std::numeric_limits<int>::max()).description(""));
    init->add_option("--admin-key-file", options.adminKeyFile, "Read it from a file that only you can read")
        ->type_name("FILE")
        ->excludes(descriptor);
    init->add_flag("--yes", options.yes, "Erase what the card holds without asking");
    addPinSource(*init, options);
}

void addId(CLI::App &command, Options &options, const char *description) {
    command.add_option("ID", options.id, description)->required()->type_name("");
}

void addPinCommands(CLI::App &app, Options &options, Run &chosen) {
    CLI::App *pin = addGroup(app, "pin", "Show, verify, change, set and unblock PINs",
                             "  zelmo pin list\n  zelmo pin verify 01\n  zelmo pin change PIN --pin-fd 3 3<pins");
    struct Entry {
        const char *name;
        const char *description;
        const char *examples;
        Run run;
        bool shows, presents;
    };
    constexpr const char *what = "Id of the PIN in hexadecimal, or its label";
    const Entry entries[] = {
        {"list", "List the PINs and how they stand", "  zelmo pin list\n  zelmo pin list --json", zelmo::runPinList,
         true, false},
        {"status", "Tell how many tries a PIN has left, without spending one",
         "  zelmo pin status 01\n  zelmo pin status \"SO PIN\" --json", zelmo::runPinStatus, true, false},
        {"verify", "Present a PIN to the card",
         "  zelmo pin verify 01\n  zelmo pin verify 01 --pin-file ~/.pin\n  zelmo pin verify 01 --lang de",
         zelmo::runPinVerify, false, true},
        {"change", "Change a PIN; from a descriptor or file: the present PIN, then the new one",
         "  zelmo pin change 01\n  printf '%s\\n' \"$OLD\" \"$NEW\" | zelmo pin change 01 --pin-fd 0",
         zelmo::runPinChange, false, true},
        {"set", "Give a PIN its first value, where the card allows it",
         "  zelmo pin set 01\n  zelmo pin set 01 --pin-file first-pin", zelmo::runPinSet, false, true},
        {"unblock", "Set a PIN free with its PUK; from a descriptor or file: the PUK, then the new PIN",
         "  zelmo pin unblock 01\n  zelmo pin unblock 01 --puk-id 02 --pin-fd 3 3<pins", zelmo::runPinUnblock, false,
         true},
    };
    for (const Entry &entry : entries) {
        CLI::App *command = addCommand(*pin, entry.name, entry.description, entry.examples, entry.run, chosen);
        if (entry.run != zelmo::runPinList)
            addId(*command, options, what);
        if (entry.shows)
            addJson(*command, options);
        if (entry.presents)
            addPinSource(*command, options);
        if (entry.run == zelmo::runPinUnblock)
            command->add_option("--puk-id", options.pukId, "Id or label of the PUK, when the token does not tell")
                ->type_name("ID");
        addAid(*command, options);
    }
}

void addCertCommands(CLI::App &app, Options &options, Run &chosen) {
    CLI::App *cert = addGroup(app, "cert", "List and read certificates",
                              "  zelmo cert list\n  zelmo cert read \"Signature certificate\" --pem");
    CLI::App *list = addCommand(*cert, "list", "List the certificates with what they say",
                                "  zelmo cert list\n  zelmo cert list --json", zelmo::runCertList, chosen);
    addJson(*list, options);
    addAid(*list, options);
    CLI::App *read = addCommand(
        *cert, "read", "Read a certificate, with the PIN if the card demands it",
        "  zelmo cert read \"Signature certificate\" -o sign.der\n"
        "  zelmo cert read 47 --pem | openssl x509 -noout -text\n  zelmo cert read 47 -o ec.der --pin-fd 3 3<pin",
        zelmo::runCertRead, chosen);
    addId(*read, options, "Id of the certificate in hexadecimal, or its label");
    read->add_option("-o,--output", options.output, "File to write to")->type_name("FILE");
    read->add_flag("--pem", options.pem, "Write PEM in the place of DER");
    read->add_option("--pin-id", options.pinId, "Id or label of the PIN to present, when it is not the one that guards")
        ->type_name("ID");
    addPinSource(*read, options);
    addAid(*read, options);
}

void addCommands(CLI::App &app, Options &options, Run &chosen) {
    addCommand(app, "readers", "List the readers",
               "  zelmo readers\n  ZELMOCRD_CARDS=$HOME/cards zelmo readers      (virtual cards of a folder)",
               zelmo::runReaders, chosen);
    CLI::App *wait = addCommand(app, "wait", "Wait until there is a card, and name its reader",
                                "  zelmo wait && zelmo list\n"
                                "  zelmo wait --timeout 30 --reader \"Virtual PCD 00 00\"",
                                zelmo::runWait, chosen);
    wait->add_option("--timeout", options.timeout, "Give up after this many seconds")
        ->type_name("SECONDS")
        ->check(CLI::Range(0, std::numeric_limits<int>::max()).description(""));
    CLI::App *list = addCommand(app, "list", "List the token and all its objects",
                                "  zelmo --reader virtual:demo.card list\n"
                                "  zelmo --reader virtual:demo.card list --json\n"
                                "  zelmo --reader virtual:demo.card --log debug:zelmo.log --trace list",
                                zelmo::runList, chosen);
    addJson(*list, options);
    addAid(*list, options);
    CLI::App *apps = addCommand(app, "apps", "List the applications that the card's EF.DIR names",
                                "  zelmo --reader virtual:demo.card apps\n"
                                "  zelmo --reader virtual:demo.card apps --json",
                                zelmo::runApps, chosen);
    addJson(*apps, options);
    addPinCommands(app, options, chosen);
    addCertCommands(app, options, chosen);
    addCardCommands(app, options, chosen);
    addInit(app, options, chosen);
    addScriptCommands(app, options, chosen);
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

/// The command as far as it was understood: "zelmo script sign".
std::string commandText(const CLI::App &app) {
    const std::vector<CLI::App *> chosen = app.get_subcommands();
    return chosen.empty() ? app.get_name() : fmt::format("{} {}", app.get_name(), commandText(*chosen.front()));
}

/// Writes what --help and --version ask for; anything else is a mistake in the command line.
Exit answer(const CLI::App &app, const CLI::ParseError &error) {
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success)) {
        // A word that is no subcommand is left over, and worth more than the remark that one is missing.
        const std::vector<std::string> rest = app.remaining();
        const std::string what = rest.empty() ? error.what() : fmt::format("'{}' means nothing here", rest.front());
        return fail(Exit::usage, fmt::format("{}; see '{} --help'", zelmo::printable(what), commandText(app)));
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
    CLI::App app("Reads PKCS#15 tokens on smart cards, looks after their PINs, and makes tokens of blank cards.",
                 "zelmo");
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

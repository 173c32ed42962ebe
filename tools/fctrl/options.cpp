#include "options.hpp"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>
#include <utility>

namespace fctrl {
namespace {

char const* const programHelp =
    R"(Exit code: 0 when all is fine, 1 when there is something to report, 2 for a mistake in the command line
or a file that cannot be read.

Examples:
  fctrl check features.json
  fctrl list --root /opt/host --changed features.json
  fctrl explain MeshRefinement --root /opt/host

`fctrl check --help`, `fctrl list --help` and `fctrl explain --help` say more.
)";

char const* const checkHelp =
    R"(FILE is a descriptor file, the manifest of an extension bundle, or a bundle (.dll, .so, .dylib, .zip).
All files are taken together, in this order: a name that stands in two of them is found. A descriptor
file that names no module is a module of its own, called as the file is without its extension.

Errors are what the library, or the service framework, refuses, in its own words. Warnings are what it
takes but nobody means. The environment is left out of it.

Examples:
  fctrl check features.json
  fctrl check bin/win64/fctrl_ext/*.zip
  fctrl check --json features.json > findings.json
  fctrl check --format sarif descriptors/*.json > findings.sarif

Exit code: 0 without findings, 1 with findings, 2 for a file that cannot be read.
)";

char const* const listHelp =
    R"(Lists the features that a host has with these files, which are registered in this order, and with the
extensions in DIR/bin/win64/fctrl_ext. Extensions are loaded and their code runs, as in a host.

The environment is that of this program: QZ_FEATURE_<name> overrides a feature's initial value. "source"
says where a value came from: the default, the environment, or code of an extension. A "*" marks a value
that differs from the default. What is wrong goes to standard error: refused files and extensions,
variables that hold no number, and variables that name no feature.

Examples:
  fctrl list features.json
  fctrl list --root /opt/host --name 'Mesh*' --state Beta
  QZ_FEATURE_MeshRefinement=2 fctrl list --changed features.json
  fctrl list --json features.json > catalogue.json

Exit code: 0, 1 when something is wrong, 2 for a file that cannot be read.
)";

char const* const explainHelp =
    R"(Tells everything about one feature of a host with these files, and with the extensions in
DIR/bin/win64/fctrl_ext, whose code runs as in a host. For a feature that is not there: what was
searched, which extensions were installed, which of them failed and why, and names that are close.

Examples:
  fctrl explain MeshRefinement features.json
  fctrl explain MeshRefinement --root /opt/host
  fctrl explain --json MeshRefinement features.json

Exit code: 0, 1 when there is no such feature or something is wrong, 2 for a file that cannot be read.
)";

void addHelp(CLI::App& app, char const* examples) {
    app.set_help_flag("--help,-h", "Print this text and end");
    app.footer(examples);
    app.allow_windows_style_options(false);
}

void addCheck(CLI::App& app, Options& options, bool& isJson) {
    CLI::App& check =
        *app.add_subcommand("check", "Find mistakes in descriptor files, manifests and bundles");
    addHelp(check, checkHelp);
    std::map<std::string, Format> const formats = {
        {"text", Format::text}, {"json", Format::json}, {"sarif", Format::sarif}};
    check
        .add_option_function<std::string>(
            "--format",
            [&options, formats](std::string const& name) { options.format = formats.at(name); },
            "What to print: text, json or sarif")
        ->check(CLI::IsMember({"text", "json", "sarif"}).description(""))
        ->option_text("FORMAT");
    check.add_flag("--json", isJson, "The same as --format json")->option_text(" ");
    check.add_option("FILE", options.files, "Files to check")->required()->option_text("...");
}

/// What `list` and `explain` share.
void addCatalogue(CLI::App& app, Options& options, bool& isJson) {
    app.add_option(
           "--root", options.root, "The host's folder, whose bin/win64/fctrl_ext holds the extensions")
        ->option_text("DIR");
    app.add_flag("--json", isJson, "Print JSON");
}

void addList(CLI::App& app, Options& options, bool& isJson) {
    CLI::App& list = *app.add_subcommand("list", "List the features of a host");
    addHelp(list, listHelp);
    addCatalogue(list, options, isJson);
    list.add_option(
            "--name", options.name, "Only names like this: * is any text, ? any character; in any case")
        ->option_text("PATTERN");
    list.add_option("--state", options.state, "Only this state: Off, On, Beta, Preview or DebugOrTest")
        ->check(CLI::IsMember({"Off", "On", "Beta", "Preview", "DebugOrTest"}).description(""))
        ->option_text("STATE");
    list.add_option("--scope", options.scope, "Only this scope: perZOR or perPROCESS")
        ->check(CLI::IsMember({"perZOR", "perPROCESS"}).description(""))
        ->option_text("SCOPE");
    list.add_option("--component", options.component, "Only this component")->option_text("NAME");
    list.add_option("--module", options.module, "Only this module")->option_text("NAME");
    list.add_flag("--changed", options.isChangedOnly, "Only values that differ from the default");
    list.add_option("FILE", options.files, "Descriptor files, manifests and bundles")->option_text("...");
}

void addExplain(CLI::App& app, Options& options, bool& isJson) {
    CLI::App& explain = *app.add_subcommand("explain", "Tell everything about one feature of a host");
    addHelp(explain, explainHelp);
    addCatalogue(explain, options, isJson);
    explain.add_option("NAME", options.name, "The feature's name")->required()->option_text(" ");
    explain.add_option("FILE", options.files, "Descriptor files, manifests and bundles")->option_text("...");
}

Options printing(std::string message) {
    Options options;
    options.message = std::move(message);
    return options;
}

}  // namespace

Options parseOptions(std::vector<std::string> arguments) {
    Options options;
    bool isJson = false;
    CLI::App app("Tool for descriptors of feature controls, and for the features that they give a host",
                 "fctrl");
    addHelp(app, programHelp);
    app.set_version_flag("--version", "fctrl " FCTRL_VERSION "\n", "Print the version and end");
    app.require_subcommand(1);
    addCheck(app, options, isJson);
    addList(app, options, isJson);
    addExplain(app, options, isJson);

    try {
        // Of another command the parser would say that one is missing.
        if (!arguments.empty() && !arguments.front().starts_with('-')) app.get_subcommand(arguments.front());
        std::reverse(arguments.begin(), arguments.end());  // The parser takes them from the end.
        app.parse(std::move(arguments));
    } catch (CLI::CallForHelp const&) {
        return printing(app.help());
    } catch (CLI::CallForVersion const& version) {
        return printing(version.what());
    } catch (CLI::OptionNotFound const&) {
        throw UsageError("there is no command \"" + arguments.front() + '"');
    } catch (CLI::ParseError const& error) {
        throw UsageError(error.what());
    }
    if (isJson) options.format = Format::json;
    options.command = app.got_subcommand("check")  ? Command::check
                      : app.got_subcommand("list") ? Command::list
                                                   : Command::explain;
    if (options.command != Command::check && options.files.empty() && options.root.empty()) {
        throw UsageError("there is nowhere to look: give files, or a host's folder with --root");
    }
    return options;
}

}  // namespace fctrl

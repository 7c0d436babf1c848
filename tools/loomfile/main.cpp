// The command line of loomfile.
#include <csignal>
#include <cstdio>
#include <new>
#include <system_error>

#include "arguments.h"
#include "cleanup.h"
#include "messages.h"
#include "words.h"

static constexpr const char* description =
    "loomfile opens the files of textile design and weaving: pictures, palettes and loom files.\n"
    "It tells what a file holds, turns it into a PNG picture that every other program can open, and shows how it\n"
    "looks as cloth.";

static constexpr const char* footer =
    "Examples:\n"
    "  loomfile rose.gif                      what is in this file?\n"
    "  loomfile convert rose.gif rose.png     make a PNG picture of it\n"
    "  loomfile quantize rose.jpg rose.png --colours 16\n"
    "                                         make a picture of 16 colours of it\n"
    "  loomfile render rose.gif cloth.png     how does it look woven, repeat beside repeat?\n"
    "  loomfile thumbnail rose.jc5 small.png  make a small picture of it\n"
    "  loomfile draft twill.wif twill.pdf     draw threading, tie-up, treadling and drawdown\n"
    "  loomfile sheet -r designs -o all.html  make a page that shows a folder\n"
    "  loomfile seam rose.gif                 do the repeats join without a visible seam?\n"
    "  loomfile convert rose.dop rose.wif     make a draft of it that every weaving program reads\n"
    "  loomfile compare rose.dop rose.wif     do both lift the same?\n"
    "  loomfile palette rose.gif              which colours does it have?\n"
    "  loomfile formats                       which kinds of files can be opened?\n"
    "  loomfile help convert                  more about one command\n"
    "  loomfile info -- -rose.gif             a name that begins with a dash goes behind two dashes\n"
    "\n"
    "'-' is standard input, and standard output for a PNG. An existing file is replaced only with --force, and only\n"
    "when the new one is complete.\n"
    "\n"
    "The settings above name programs that some kinds of files need. What is installed on this computer is\n"
    "found without them.\n"
    "\n"
    "When something goes wrong, one sentence says what, and the exit code tells it to scripts; of several files it is\n"
    "the highest:\n"
    "   0  all went well                         6  the format is another one, is not known or cannot be loaded\n"
    "   1  the files that are compared differ    7  the file is damaged: sizes or data are wrong\n"
    "   2  not enough memory                     8  made, but not all that the file means\n"
    "   3  the file cannot be opened            10  the file is no picture or weaving file\n"
    "   4  the picture data cannot be decoded   11  the file's name is empty\n"
    "   5  this variant cannot be loaded        12  the result cannot be written\n"
    "                                           64  the command was not understood";

static int failUsage(const std::string& text)
{
    const char* end = text.ends_with('?') ? "" : ".";
    fprintf(stderr, "loomfile: %s%s See loomfile --help.\n", printable(text).c_str(), end);
    return exitUsage;
}

// A request for help is answered with success.
static int endParsing(const CLI::App& app, const CLI::ParseError& error)
{
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        app.exit(error);
        finishOutput();
        return exitSuccess;
    }
    if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::ExtrasError))
        return failUsage(error.what());
    std::string words;
    for (const std::string& word : app.remaining(true)) {
        if (word.size() > 1 && word[0] == '-')
            return failUsage(unknownOption(word).text);
        words += " " + word;
    }
    return failUsage("not expected:" + words);
}

// As the parser wants them. It takes some words for lists and separators of its own, which are files here.
static std::vector<std::string> reversed(std::vector<std::string> words)
{
    std::reverse(words.begin(), words.end());
    for (std::string& word : words) {
        const bool isList = word.starts_with('[') && word.ends_with(']');
        if (isList || word == "{}" || word == "%%")
            word.insert(0, "./");
    }
    return words;
}

static std::vector<std::string> wordsFor(const CLI::App& app, int argc, char** argv)
{
    const std::vector<const CLI::App*> commands = app.get_subcommands(nullptr);
    std::vector<std::string> names;
    names.reserve(commands.size());
    for (const CLI::App* command : commands)
        names.push_back(command->get_name());
    auto takesValue = [&](const std::string& word) {
        auto isOfIt = [&word](const CLI::App* command) {
            const CLI::Option* option = command->get_option_no_throw(word);
            return option != nullptr && option->get_items_expected_max() > 0;
        };
        return isOfIt(&app) || std::any_of(commands.begin(), commands.end(), isOfIt);
    };
    return preparedWords({argv + 1, argv + argc}, names, takesValue);
}

static int runCommand(const std::string& name, const Requests& requests)
{
    const OpenOptions& options = requests.options;
    return name == "formats"     ? listFormats(requests.formats)
           : name == "info"      ? showInfo(requests.info, options)
           : name == "quantize"  ? quantizePicture(requests.quantize, options)
           : name == "palette"   ? showPalettes(requests.palette, options)
           : name == "draft"     ? drawDrafts(requests.draft, options)
           : name == "render"    ? renderCloth(requests.render, options)
           : name == "thumbnail" ? makeThumbnails(requests.thumbnail, options)
           : name == "sheet"     ? makeSheet(requests.sheet, options)
           : name == "seam"      ? measureSeams(requests.seam, options)
           : name == "compare"   ? compareFiles(requests.compare, options)
                                 : convertPictures(requests.convert, options);
}

static int run(int argc, char** argv)
{
    CLI::App app(description, "loomfile");
    app.footer(footer);
    app.set_version_flag("-V,--version", std::string("loomfile ") + loomfileVersion(), "Print the version and end");
    app.set_help_flag("-h,--help", "Print this help and end");
    app.require_subcommand(0, 1);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    Requests requests;
    addSettings(app, requests.options);
    addTellingCommands(app, requests);
    addMakingCommands(app, requests);
    for (CLI::App* command : app.get_subcommands(nullptr))
        command->fallthrough()->group("Commands");
    try {
        app.parse(reversed(wordsFor(app, argc, argv)));
    } catch (const CLI::ParseError& error) {
        return endParsing(app, error);
    }
    const std::vector<CLI::App*> given = app.get_subcommands();
    if (given.empty())
        return failUsage("say what to do: info, convert, thumbnail, draft and so on");
    settle(requests, given.front()->get_name());
    const int exitCode = runCommand(given.front()->get_name(), requests);
    finishOutput();
    return exitCode;
}

int main(int argc, char** argv)
{
    openStandardStreams();
    // A limit on the size of files is to be an error of the write, here and in the programs that are run.
    signal(SIGXFSZ, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (const UsageError& error) {
        return failUsage(error.text);
    } catch (const Failure& failure) {
        // Who interrupts a helper means this program.
        if (failure.signal == SIGINT || failure.signal == SIGQUIT)
            endBySignal(failure.signal);
        fputs(sentence(failure.file, failure.reason).c_str(), stderr);
        return failure.exitCode;
    } catch (const std::bad_alloc&) {
        fputs("loomfile: there is not enough memory.\n", stderr);
    } catch (const std::system_error&) {
        fputs("loomfile: the computer is too busy to start.\n", stderr);
    }
    return exitOutOfMemory;
}

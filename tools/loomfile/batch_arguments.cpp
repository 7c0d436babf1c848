// Many files: what the commands that take them have in common.
#include <algorithm>
#include <cstdlib>

#include "arguments.h"
#include "words.h"

static constexpr const char* group = "Many files";

void addBatchOptions(CLI::App& command, BatchOptions& options)
{
    command.add_flag("-r,--recursive", options.isRecursive, "Read the folders in folders, too")->group(group);
    command
        .add_option("--files-from", options.list,
                    "Files and folders are the lines of LIST, or end with a zero each; '-' is standard input")
        ->type_name("LIST")
        ->group(group);
    command.add_option("-j,--workers", options.workers, "Files to work on at once; else one for each processor")
        ->type_name("N")
        ->check(CLI::Range(1, mostGroups).description(""))
        ->group(group);
    command.add_flag("--no-workers", options.inOneProcess, "Work in the program itself, with all that it may do")
        ->group(group);
    command.add_option("--timeout", options.secondsAFile, "Seconds that one of several files may take, 60; 0 = no end")
        ->type_name("N")
        ->check(numberBetween(0, 1e6))
        ->group(group);
    command.add_option("--report", options.report, "Write what became of every file to a .csv or .jsonl file")
        ->type_name("FILE")
        ->group(group);
    command.add_flag("-q,--quiet", options.isQuiet, "Tell only what went wrong")->group(group);
    command.add_flag("-v,--verbose", options.isVerbose, "Tell all that is known")->group(group);
}

void addOutputOptions(CLI::App& command, BatchOptions& options, const char* output)
{
    command
        .add_option("-o,--output", options.output,
                    "Write into a folder, or to names made of {folder}, {stem}, {name}, {ending}")
        ->type_name("DIR")
        ->group(group);
    command.add_flag("--skip-existing", options.skipExisting, "Leave alone what is there, and go on with the rest")
        ->group(group);
    command.add_flag("-f,--force", options.mayReplace, std::string("Replace ") + output + " when it exists");
}

void addForms(CLI::App& command, Form& form)
{
    auto add = [&](const char* name, Form meant, const char* help) {
        return command.add_flag_callback(
            name, [&form, meant] { form = meant; }, help);
    };
    CLI::Option* json = add("--json", Form::json, "Print JSON, for other programs");
    add("--jsonl", Form::jsonLines, "Print JSON, a line for each file as soon as it is known")->excludes(json);
}

void addInAndOut(CLI::App& command, BatchOptions& options, const char* endings)
{
    auto take = [&options](const std::string& word) { options.inputs.push_back(word); };
    command.add_option_function<std::string>("IN", take, "The file to read")->type_name("");
    command.add_option_function<std::string>("OUT", take, std::string("The ") + endings + " file to write")
        ->type_name("");
    command
        .add_option_function<std::vector<std::string>>(
            "MORE",
            [&options](const std::vector<std::string>& words) {
                options.inputs.insert(options.inputs.end(), words.begin(), words.end());
            },
            "With -o: IN, OUT and MORE are all files and folders to read")
        ->type_name("");
}

static void requireInputs(const BatchOptions& options)
{
    if (options.inputs.empty() && options.list.empty())
        throw UsageError{"say which files, or --files-from"};
    if (options.list == "-" && std::find(options.inputs.begin(), options.inputs.end(), "-") != options.inputs.end())
        throw UsageError{"standard input is the list, and cannot be a file, too"};
}

static void settleOut(BatchOptions& options, std::string& target)
{
    std::vector<std::string>& names = options.inputs;
    if (!options.output.empty()) {
        requireInputs(options);
        return;
    }
    if (!options.list.empty() || options.isRecursive)
        throw UsageError{"say where to write: -o with a folder, or with names as 'out/{folder}/{stem}.png'"};
    if (names.size() < 2)
        throw UsageError{names.empty() ? "IN is required" : "OUT is required"};
    if (names.size() > 2) {
        std::string more;
        for (size_t i = 2; i < names.size(); i++)
            more += " " + names[i];
        throw UsageError{"not expected:" + more + "; -o tells where to write what is made of several files"};
    }
    target = names[1];
    names.resize(1);
    options.isAlone = true;
}

void settle(Requests& requests, const std::string& name)
{
    if (name == "convert")
        settleOut(requests.convert.batch, requests.convert.target);
    else if (name == "draft")
        settleOut(requests.draft.batch, requests.draft.target);
    else if (name == "thumbnail")
        settleOut(requests.thumbnail.batch, requests.thumbnail.target);
    else if (name == "info")
        requireInputs(requests.info.batch);
    else if (name == "seam")
        requireInputs(requests.seam.batch);
    else if (name == "palette")
        requireInputs(requests.palette.batch);
    else if (name == "sheet")
        requireInputs(requests.sheet.batch);
    // Temporary files of the workers, too, are there.
    if (!requests.options.tmpDir.empty())
        setenv("TMPDIR", requests.options.tmpDir.c_str(), 1);
    requests.options.tmpDir.clear();
}

// The options of all commands that open files.
#include "arguments.h"
#include "words.h"

void addOpenOptions(CLI::App& command, OpenOptions& options)
{
    auto setFormat = [&options](const std::string& text) {
        try {
            options.format = formatCalled(text);
        } catch (const UsageError& error) {
            throw CLI::ValidationError("--format", error.text);
        }
    };
    command
        .add_option_function<std::string>(
            "--format", setFormat,
            "Open the file as this format: a number or a name from 'loomfile formats', or an extension")
        ->type_name("FORMAT");
    command.add_flag("--libtload-only", options.libtloadOnly,
                     "Show files as libTload alone reads them: no other program, no drafts in their colours");
    command.add_option("--name", options.name, "What the file is called that comes from standard input, as '-'")
        ->type_name("NAME");
}

void addSettings(CLI::App& app, OpenOptions& options)
{
    constexpr const char* group = "Settings";
    app.add_option("--tmp-dir", options.tmpDir, "Directory for temporary files")
        ->type_name("DIR")
        ->check(CLI::ExistingDirectory.description(""))
        ->group(group);
    auto addCommand = [&app](const char* name, std::optional<std::string>& text, const char* help) {
        app.add_option_function<std::string>(
               name, [&text](const std::string& command) { text = command; }, help)
            ->type_name("CMD")
            ->group(group);
    };
    addCommand("--gzip", options.gzip, "Command that unpacks .gz data");
    addCommand("--unzip", options.unzip, "Command that unpacks .zip files");
    addCommand("--ms-expand", options.msExpand, "Command that unpacks files compressed for old Windows");
    addCommand("--vector-preview", options.vectorPreview, "Command that turns PDF, EPS or SVG into a PNG");
    addCommand("--graphics", options.graphics, "Command that turns pictures libTload does not read into a PNG");
    app.add_option("--bonas-line-padding", options.bonasLinePadding, "Whether Bonas files pad their rows: 1 or 0")
        ->type_name("N")
        ->check(CLI::Range(0, 1).description(""))
        ->group(group);
    app.add_option("--jc4-mapping", options.jc4Module,
                   "Hooks of a module where a JC4 file leaves it open: 0 finds out, 1 = 1344, 2 = 1536, 3 = 3072")
        ->type_name("N")
        ->check(CLI::Range(0, 3).description(""))
        ->group(group);
}

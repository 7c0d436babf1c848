// Values of options that several commands take.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "arguments.h"

CLI::Option* addPairOption(CLI::App& command, const char* name, NumberPair& pair, PairRule rule, const char* help)
{
    auto parse = [&pair, name, rule](const std::string& text) {
        auto isGood = [&rule](double number) {
            return number >= rule.least && number <= rule.most && (!rule.wholeNumbers || number == std::floor(number));
        };
        NumberPair read;
        char separator = 0;
        int length = 0;
        if (sscanf(text.c_str(), "%lf%c%lf%n", &read.x, &separator, &read.y, &length) != 3 ||
            separator != rule.separator || static_cast<size_t>(length) != text.size() || !isGood(read.x) ||
            !isGood(read.y)) {
            char problem[100];
            snprintf(problem, sizeof problem, "two %s from %.10g to %.10g are wanted, with '%c' between them",
                     rule.wholeNumbers ? "whole numbers" : "numbers", rule.least, rule.most, rule.separator);
            throw CLI::ValidationError(name, problem);
        }
        pair = read;
    };
    return command.add_option_function<std::string>(name, parse, help);
}

CLI::Validator numberBetween(double least, double most)
{
    auto check = [least, most](const std::string& text) {
        char* end = nullptr;
        const double number = strtod(text.c_str(), &end);
        if (end != text.c_str() && *end == 0 && number >= least && number <= most)
            return std::string();
        char problem[100];
        snprintf(problem, sizeof problem, "a number from %.10g to %.10g is wanted", least, most);
        return std::string(problem);
    };
    return {check, ""};
}

void addColourOption(CLI::App& command, const char* name, std::optional<Rgb>& colour, const char* help)
{
    auto parse = [&colour, name](const std::string& text) {
        colour = colourCalled(text);
        if (!colour)
            throw CLI::ValidationError(name, "a colour as #2a3c68 or a word as indigo, cream, red is wanted");
    };
    command.add_option_function<std::string>(name, parse, help)->type_name("COLOUR");
}

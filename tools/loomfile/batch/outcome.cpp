#include "batch/outcome.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sstream>

#include "messages.h"

Outcome::Outcome(const Batch& theBatch, const BatchOptions& theOptions, bool isOne)
    : progress(!isOne && !theOptions.isQuiet), batch(theBatch), options(theOptions), isForOne(isOne),
      report(theOptions.report, theOptions.mayReplace)
{
}

void Outcome::note(const std::string& file, const std::string& text)
{
    progress.clear();
    flush();
    fputs(sentence(file, text).c_str(), stderr);
}

void Outcome::flush()
{
    if (fflush(stdout) != 0)
        throw Failure{exitCannotWrite, "standard output", "the text cannot be written " + systemReason(errno)};
}

// Whether a name is one of a format's files.
static bool isNameOfPicture(const std::string& path)
{
    const std::string name = baseNameOf(path);
    for (FormatId format = 1; format <= formatCount; format++) {
        std::istringstream endings(returnLoaderExtensions(format));
        for (std::string ending; endings >> ending;) {
            if (hasEnding(name, "." + ending))
                return true;
        }
    }
    return false;
}

// What a folder holds besides pictures is nobody's fault, and a design is one however many files it has.
bool Outcome::leaveOut(Item& item)
{
    const Result& result = *item.result;
    if (item.isNote || item.isSkipped) {
        counts.skipped += item.isSkipped ? 1 : 0;
        if (item.isNote || options.isVerbose)
            note(item.input.path, result.reason);
        return true;
    }
    const bool isNone = result.isPassedOver;
    const bool isPart = result.isContinued || (!result.design.empty() && !designs.add(result.design));
    if (!isNone && !isPart)
        return false;
    (isNone ? counts.notPictures : counts.parts)++;
    if (options.isVerbose)
        note(item.input.path, isNone ? result.reason : "it continues a design that counts as one, and is left out");
    return true;
}

void Outcome::moveToPlace(Item& item)
{
    Result& result = *item.result;
    if (item.target.empty() || !result.reason.empty())
        return;
    try {
        if (!targets.add(item.target))
            throw Failure{exitCannotWrite, item.input.path,
                          "another file was to become " + item.target + " too, and came first"};
        if (item.output != nullptr)
            item.output->moveToTarget();
        result.target = item.target;
    } catch (const Failure& failure) {
        result = refusedResult(batch, item.input, failure);
    }
}

void Outcome::count(const Item& item)
{
    const Result& result = *item.result;
    const int code = result.exitCode;
    worst = std::max(worst, code);
    if (result.reason.empty()) {
        counts.read++;
        counts.written += result.target.empty() ? 0 : 1;
        return;
    }
    const bool isRefused = !result.isLost && code != exitOutOfMemory && code != exitCannotRead &&
                           code != exitCannotWrite && code != exitUsage;
    (isRefused ? counts.refused : counts.failed)++;
    progress.failed++;
}

void Outcome::print(const Result& result)
{
    if (!result.messages.empty() && !(options.isQuiet && result.exitCode == exitSuccess)) {
        flush(); // what is printed before it comes before it
        fputs(result.messages.c_str(), stderr);
    }
    if (result.text.empty() || batch.take != nullptr || (options.isQuiet && !result.target.empty()))
        return;
    fputs((hasPrinted ? batch.listing.between : batch.listing.before).c_str(), stdout);
    fwrite(result.text.data(), 1, result.text.size(), stdout);
    hasPrinted = true;
    if (ferror(stdout) != 0)
        finishOutput();
}

void Outcome::take(Item& item)
{
    Result& result = *item.result;
    if (result.signal == SIGINT || result.signal == SIGQUIT)
        throw Failure{result.exitCode, item.input.path, result.reason, result.signal};
    progress.done += item.isNote ? 0 : 1;
    result.isPassedOver =
        item.input.isFound && result.exitCode == loomfileNotAnImage && !isNameOfPicture(item.input.path);
    if (batch.see != nullptr && !item.isNote && !item.isSkipped)
        batch.see(item.input, result);
    if (leaveOut(item))
        return;
    moveToPlace(item);
    count(item);
    progress.clear();
    print(result);
    report.add(item.input, result);
    if (batch.take != nullptr)
        batch.take(item.input, result);
}

static std::string more(u64 count, const std::string& what)
{
    return count == 0 ? "" : ", " + std::to_string(count) + " " + what;
}

int Outcome::finish()
{
    progress.clear();
    fputs((hasPrinted ? batch.listing.after : batch.listing.ifNone).c_str(), stdout);
    finishOutput();
    if (!isForOne && !options.isQuiet)
        fprintf(stderr, "loomfile: %llu read, %llu written, %llu refused, %llu failed%s.\n",
                static_cast<unsigned long long>(counts.read), static_cast<unsigned long long>(counts.written),
                static_cast<unsigned long long>(counts.refused), static_cast<unsigned long long>(counts.failed),
                (more(counts.skipped, "skipped") + more(counts.parts, "left out as parts of a design") +
                 more(counts.notPictures, "no pictures"))
                    .c_str());
    report.finish();
    return worst;
}

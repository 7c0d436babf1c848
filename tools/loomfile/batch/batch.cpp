#include "batch/batch.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>

#include "batch/inputs.h"
#include "batch/outcome.h"
#include "cleanup.h"
#include "messages.h"

namespace
{

bool isFolder(const std::string& path)
{
    struct stat info;
    return path != standardStream && stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// How many there are, as far as that can be known beforehand.
u64 countInputs(const BatchOptions& options, const std::string& leftOut)
{
    if (options.list == standardStream)
        return 0;
    Inputs inputs(options, leftOut);
    Found place;
    u64 count = 0;
    for (Inputs::State state = inputs.next(place); state != Inputs::ended; state = inputs.next(place)) {
        if (state == Inputs::mustRead)
            inputs.list.read();
        else
            count++;
    }
    return count;
}

// Each may have its output open, and workers have sockets.
size_t itemsAtOnce()
{
    constexpr size_t usual = 1024, others = 2 * mostGroups;
    rlimit files;
    if (getrlimit(RLIMIT_NOFILE, &files) != 0)
        return usual;
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
    return files.rlim_cur < others + 16 ? 16 : std::min<size_t>(usual, files.rlim_cur - others);
}

struct Run {
    const Batch& batch;
    const BatchOptions& options;
    bool isForOne;
    Targets targets;
    Inputs inputs;
    Crew crew;
    Outcome outcome;
    std::deque<std::unique_ptr<Item>> items; // from the first on that has not been taken
    bool isAtEnd = false;
    const size_t mostItems = itemsAtOnce(); // that are worked on or wait

    Run(const Batch& theBatch, const BatchOptions& theOptions)
        : batch(theBatch), options(theOptions), isForOne(isOneFile(theOptions)), targets(theBatch, theOptions),
          inputs(theOptions, targets.root), crew(theBatch, theOptions, isForOne),
          outcome(theBatch, theOptions, isForOne)
    {
    }

    // Whether there is something at the target that is not from this run.
    bool isDone(const Item& item)
    {
        struct stat info;
        return options.skipExisting && stat(item.target.c_str(), &info) == 0 && !outcome.targets.has(item.target);
    }

    void rememberDesign(const std::string& path)
    {
        struct stat info;
        if (stat(path.c_str(), &info) == 0)
            outcome.designs.add(std::to_string(info.st_dev) + ":" + std::to_string(info.st_ino));
    }

    void skip(Item& item)
    {
        // Its other parts are those of a design that is there. One that goes on in d.001 begins in d.ep, which comes
        // later.
        const std::string& path = item.input.path;
        rememberDesign(path);
        if (path.size() > 4 && path.find_last_not_of("0123456789") == path.size() - 4 && path[path.size() - 4] == '.') {
            for (const char* ending : {"ep", "EP", "Ep"})
                rememberDesign(path.substr(0, path.size() - 3) + ending);
        }
        outcome.targets.add(item.target);
        item.isSkipped = true;
        item.result.emplace();
        item.result->reason = item.target + " exists already, the file is skipped";
    }

    void openOutput(Item& item)
    {
        if (item.target.empty() || item.target == standardStream)
            return;
        targets.makeFoldersFor(item.target);
        // Which of two inputs it belongs to is decided in their order, when both have been read.
        const bool isOfThisRun = outcome.targets.has(item.target);
        item.output = std::make_unique<OutputFile>(item.target, options.mayReplace || isOfThisRun);
    }

    // Sets the result of what needs no worker.
    void prepare(Item& item)
    {
        try {
            if (batch.known != nullptr)
                item.result = batch.known(item.input);
            if (item.result)
                return;
            item.target = targets.nameFor(item.input);
            if (!item.target.empty() && isDone(item))
                skip(item);
            else
                openOutput(item);
        } catch (const Failure& failure) {
            item.result = refusedResult(batch, item.input, failure);
        }
    }

    void begin(const Found& place)
    {
        auto item = std::make_unique<Item>();
        item->input = place.input;
        item->isNote = place.exitCode == 0 && !place.reason.empty();
        if (!place.reason.empty())
            item->result = refusedResult(batch, item->input, {place.exitCode, place.input.path, place.reason});
        else
            prepare(*item);
        if (!item->result && options.inOneProcess)
            item->result = resultOf(batch, item->input, item->output.get());
        else if (!item->result)
            crew.give(*item);
        items.push_back(std::move(item));
    }

    // Returns whether the list has to be read before there are more.
    bool fill()
    {
        while (!isAtEnd && items.size() < mostItems && (options.inOneProcess ? items.empty() : crew.hasRoom())) {
            Found place;
            const Inputs::State state = inputs.next(place);
            if (state == Inputs::mustRead)
                return true;
            isAtEnd = state == Inputs::ended;
            if (isAtEnd)
                break;
            begin(place);
        }
        return false;
    }

    void takeResults()
    {
        for (; !items.empty() && items.front()->result; items.pop_front())
            outcome.take(*items.front());
        outcome.flush();
        outcome.progress.show();
    }

    int toTheEnd()
    {
        if (outcome.progress.isShown)
            outcome.progress.all = countInputs(options, targets.root);
        while (true) {
            const bool mustRead = fill();
            takeResults();
            if (isAtEnd && items.empty())
                return outcome.finish();
            constexpr int redrawn = 200;
            const bool isReady = !items.empty() && items.front()->result.has_value();
            const int patience = isReady ? 0 : outcome.progress.isShown ? redrawn : -1;
            if ((mustRead || !items.empty()) && crew.wait(mustRead ? inputs.list.descriptor : -1, patience))
                inputs.list.read();
        }
    }
};

} // namespace

bool isOneFile(const BatchOptions& options)
{
    return options.isAlone || (options.inputs.size() == 1 && options.list.empty() && options.output.empty() &&
                               options.report.empty() && !isFolder(options.inputs.front()));
}

int runBatch(const Batch& batch, const BatchOptions& options)
{
    catchEndingSignals();
    Run run(batch, options);
    return run.toTheEnd();
}

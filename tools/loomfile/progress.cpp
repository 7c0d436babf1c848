#include "progress.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>

#include "messages.h"

static std::string progressLine(const Progress& progress)
{
    int percent = progress.percentWritten;
    return percent < 0 ? "Reading " + progress.source + " ..."
                       : "Writing " + progress.target + " " + std::to_string(percent) + " %";
}

// The name, cut so that the line does not wrap.
static std::string shortName(const std::string& name)
{
    constexpr size_t longest = 50;
    size_t length = longest;
    while (length < name.size() && (name[length] & 0xC0) == 0x80)
        length--;
    return printable(name.size() <= longest ? name : name.substr(0, length) + "...");
}

static void showUntilFinished(Progress& progress)
{
    using namespace std::chrono_literals;
    size_t shown = 0;
    auto pause = 500ms;
    std::unique_lock lock(progress.mutex);
    while (!progress.wakeUp.wait_for(lock, pause, [&] { return progress.finished; })) {
        std::string line = progressLine(progress);
        size_t length = line.size();
        line.resize(std::max(length, shown), ' ');
        dprintf(STDERR_FILENO, "\r%s", line.c_str());
        shown = length;
        pause = 100ms;
    }
    if (shown > 0)
        dprintf(STDERR_FILENO, "\r%*s\r", static_cast<int>(shown), "");
}

Progress::Progress(const std::string& sourceName, const std::string& targetName, bool isWanted)
    : source(shortName(sourceName)), target(shortName(targetName))
{
    if (!isWanted || isatty(STDERR_FILENO) == 0)
        return;
    // Signals are the main thread's, which knows when one would do harm.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    printer = std::thread(showUntilFinished, std::ref(*this));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Progress::~Progress()
{
    if (!printer.joinable())
        return;
    {
        std::lock_guard lock(mutex);
        finished = true;
    }
    wakeUp.notify_one();
    printer.join();
}

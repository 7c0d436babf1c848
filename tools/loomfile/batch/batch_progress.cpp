#include "batch/batch_progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

constexpr std::chrono::milliseconds betweenDrawings(100);

BatchProgress::BatchProgress(bool isWanted) : isShown(isWanted && isatty(STDERR_FILENO) != 0) {}

static std::string timeText(double seconds)
{
    const auto whole = static_cast<u64>(seconds + 0.5);
    char text[60];
    if (whole < 60)
        snprintf(text, sizeof text, "%llu s", static_cast<unsigned long long>(whole));
    else
        snprintf(text, sizeof text, "%llu:%02llu min", static_cast<unsigned long long>(whole / 60),
                 static_cast<unsigned long long>(whole % 60));
    return text;
}

static std::string bar(double share)
{
    constexpr size_t length = 24;
    const auto full = static_cast<size_t>(std::clamp(share, 0.0, 1.0) * length);
    return "[" + std::string(full, '#') + std::string(length - full, '.') + "] ";
}

void BatchProgress::show()
{
    const Clock::time_point now = Clock::now();
    if (!isShown || now - shown < betweenDrawings)
        return;
    shown = now;
    const double seconds = std::chrono::duration<double>(now - begun).count();
    const double perSecond = static_cast<double>(done) / seconds;
    std::string line = std::to_string(done) + (all > 0 ? " of " + std::to_string(all) : "") + " files, ";
    if (all > 0)
        line.insert(0, bar(static_cast<double>(done) / static_cast<double>(all)));
    char rate[40];
    snprintf(rate, sizeof rate, perSecond < 10 ? "%.1f" : "%.0f", perSecond);
    line += std::string(rate) + " a second";
    if (all > done && done > 0)
        line += ", " + timeText(static_cast<double>(all - done) / perSecond) + " left";
    line += ", " + std::to_string(failed) + " failed";
    const size_t length = line.size();
    line.resize(std::max(length, width), ' ');
    width = length;
    dprintf(STDERR_FILENO, "\r%s", line.c_str());
}

void BatchProgress::clear()
{
    if (width > 0)
        dprintf(STDERR_FILENO, "\r%*s\r", static_cast<int>(width), "");
    width = 0;
}

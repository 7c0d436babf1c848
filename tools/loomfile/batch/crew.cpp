#include "batch/crew.h"

#include <poll.h>
#include <sched.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "batch/confine.h"

constexpr size_t depthOfSmall = 64;

using Clock = std::chrono::steady_clock;

static double secondsSince(Clock::time_point time)
{
    return std::chrono::duration<double>(Clock::now() - time).count();
}

static int processors()
{
    cpu_set_t set;
    return sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 1;
}

Crew::Crew(const Batch& theBatch, const BatchOptions& options, bool isForOne)
    : batch(theBatch), secondsAFile(isForOne ? 0 : options.secondsAFile)
{
    const int asked = options.workers > 0 ? options.workers : processors();
    const int count = isForOne ? 1 : std::min(asked, mostGroups);
    for (int slot = 0; slot < count; slot++)
        workers.push_back(std::make_unique<Worker>(slot));
    settings.mostBytes = memoryOfAWorker(count);
    const bool isNamed =
        std::find(options.inputs.begin(), options.inputs.end(), standardStream) != options.inputs.end();
    settings.keepsInput = (isForOne || isNamed) && options.list != standardStream;
}

// A few files wait with each worker: many small ones, so that it need not wait for them, and no large ones, which
// another one could be working on.
size_t Crew::depth() const
{
    constexpr double small = 0.001, large = 0.02;
    return secondsOfAFile < small ? depthOfSmall : secondsOfAFile < large ? 8 : 2;
}

static Worker& leastBusy(const std::vector<std::unique_ptr<Worker>>& workers)
{
    auto isLess = [](const auto& a, const auto& b) {
        return std::pair(a->items.size(), a->process == 0) < std::pair(b->items.size(), b->process == 0);
    };
    return **std::min_element(workers.begin(), workers.end(), isLess);
}

bool Crew::hasRoom() const
{
    return leastBusy(workers).items.size() < depth();
}

void Crew::give(Item& item)
{
    post(leastBusy(workers), item);
}

void Crew::post(Worker& worker, Item& item)
{
    if (worker.process == 0)
        worker.start(batch, settings);
    try {
        worker.give(item);
    } catch (const Failure& failure) {
        item.result = refusedResult(batch, item.input, failure);
    }
}

void Crew::listen(Worker& worker)
{
    char bytes[1 << 16];
    const ssize_t got = recv(worker.socket, bytes, sizeof bytes, MSG_DONTWAIT);
    if (got < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (got > 0)
        worker.inbox.add(bytes, static_cast<size_t>(got));
    try {
        while (const std::optional<Fields> answer = worker.inbox.take()) {
            Result result = resultOfAnswer(*answer);
            Item& item = *worker.items.at(0);
            item.result = std::move(result);
            worker.items.pop_front();
            secondsOfAFile += (secondsSince(worker.begun) - secondsOfAFile) / 8;
            worker.begun = Clock::now();
        }
    } catch (const std::exception&) {
        worker.inbox.isBroken = true;
    }
    if (got <= 0 || worker.inbox.isBroken)
        lose(worker);
}

// Small files are answered so fast that it pays to let some answers come together.
bool Crew::isWellSupplied() const
{
    return depth() == depthOfSmall && std::all_of(workers.begin(), workers.end(), [](const auto& worker) {
               return worker->items.size() > depthOfSmall / 2;
           });
}

// Milliseconds until a file will have taken too long, at most so many.
int Crew::untilNextEnd(int milliseconds) const
{
    for (const std::unique_ptr<Worker>& worker : workers) {
        if (secondsAFile <= 0 || worker->items.empty())
            continue;
        const double left = (secondsAFile - secondsSince(worker->begun)) * 1000 + 1;
        const int whole = static_cast<int>(std::clamp(left, 0.0, 1e9));
        milliseconds = milliseconds < 0 ? whole : std::min(milliseconds, whole);
    }
    return milliseconds;
}

// While the program prints, to a reader that takes its time, it does not hear that a worker has been ready for long.
void Crew::forgiveOwnTime()
{
    const Clock::duration own = Clock::now() - waitedUntil;
    for (const std::unique_ptr<Worker>& worker : workers)
        worker->begun += own;
}

bool Crew::wait(int otherDescriptor, int milliseconds)
{
    forgiveOwnTime();
    const bool canBeRead = waitForAnswers(otherDescriptor, milliseconds);
    waitedUntil = Clock::now();
    return canBeRead;
}

bool Crew::waitForAnswers(int otherDescriptor, int milliseconds)
{
    std::vector<pollfd> sockets;
    for (const std::unique_ptr<Worker>& worker : workers) {
        if (worker->hasUnsent())
            worker->send();
        const short events = worker->hasUnsent() ? POLLIN | POLLOUT : POLLIN;
        sockets.push_back({worker->items.empty() ? -1 : worker->socket, events, 0});
    }
    sockets.push_back({otherDescriptor, POLLIN, 0});
    if (isWellSupplied())
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    if (poll(sockets.data(), sockets.size(), untilNextEnd(milliseconds)) < 0)
        return false;
    for (size_t i = 0; i < workers.size(); i++) {
        if ((sockets[i].revents & ~POLLOUT) != 0)
            listen(*workers[i]);
        checkTime(*workers[i]);
    }
    return sockets.back().revents != 0;
}

void Crew::checkTime(Worker& worker)
{
    if (secondsAFile <= 0 || worker.items.empty() || secondsSince(worker.begun) < secondsAFile)
        return;
    worker.isOutOfTime = true;
    lose(worker);
}

// The first of its files is to blame. The others go to a fresh worker.
void Crew::lose(Worker& worker)
{
    const bool wasBroken = worker.inbox.isBroken;
    const int status = worker.end();
    if (worker.items.empty())
        return;
    Item& culprit = *worker.items.front();
    culprit.result = refusedResult(batch, culprit.input, worker.whyLost(wasBroken ? 0 : status, secondsAFile));
    culprit.result->isLost = true;
    worker.isOutOfTime = false;
    std::deque<Item*> others = std::move(worker.items);
    others.pop_front();
    worker.items.clear();
    for (Item* item : others)
        post(worker, *item);
}

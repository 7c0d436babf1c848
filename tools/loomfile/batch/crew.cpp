#include "batch/crew.h"

#include <poll.h>
#include <sched.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>
#include <thread>

#include "batch/confine.h"

constexpr size_t depthOfSmall = 64;

using Clock = std::chrono::steady_clock;

static int processors()
{
    cpu_set_t set;
    return sched_getaffinity(0, sizeof set, &set) == 0 ? CPU_COUNT(&set) : 1;
}

Crew::Crew(const Batch& theBatch, const BatchOptions& theOptions, bool isForOne)
    : batch(theBatch), options(theOptions), secondsAFile(isForOne ? 0 : theOptions.secondsAFile)
{
    const int asked = options.workers > 0 ? options.workers : processors();
    workers.resize(static_cast<size_t>(isForOne ? 1 : std::min(asked, mostGroups)));
    for (std::unique_ptr<Worker>& worker : workers)
        worker = std::make_unique<Worker>();
}

Crew::~Crew()
{
    for (const std::unique_ptr<Worker>& worker : workers)
        end(*worker);
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
    Worker& worker = leastBusy(workers);
    if (worker.process == 0)
        start(worker);
    post(worker, item);
}

void Crew::start(Worker& worker)
{
    const char* place = getenv("TMPDIR");
    // Without a folder most files can be read all the same.
    worker.folder.makeFolder(std::string(place != nullptr && place[0] != 0 ? place : "/tmp") + "/loomfile-XXXXXX");
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::system_error(errno, std::generic_category());
    const auto& inputs = options.inputs;
    const WorkerSettings settings = {worker.folder.name, memoryOfAWorker(static_cast<int>(workers.size())),
                                     std::find(inputs.begin(), inputs.end(), standardStream) != inputs.end(), getpid()};
    fflush(stdout); // or the worker had it, too
    const SignalsBlocked blocked;
    const pid_t process = fork();
    if (process == 0)
        work(ends[1], batch, settings, blocked.before);
    const int errorNumber = errno;
    close(ends[1]);
    worker.socket = ends[0];
    if (process < 0) {
        end(worker);
        throw std::system_error(errorNumber, std::generic_category());
    }
    setpgid(process, process); // it does so itself, but who is first is open
    worker.process = process;
    killAtEnd(slotOf(worker), process);
}

int Crew::slotOf(const Worker& worker) const
{
    auto isIt = [&worker](const auto& one) { return one.get() == &worker; };
    return static_cast<int>(std::find_if(workers.begin(), workers.end(), isIt) - workers.begin());
}

// Returns how it ended.
int Crew::end(Worker& worker)
{
    int status = 0;
    if (worker.socket >= 0)
        close(worker.socket);
    worker.socket = -1;
    if (worker.process > 0) {
        kill(-worker.process, SIGKILL); // its helpers, too
        kill(worker.process, SIGKILL);
        while (waitpid(worker.process, &status, 0) < 0 && errno == EINTR) {
        }
        killAtEnd(slotOf(worker), 0);
    }
    worker.process = 0;
    worker.folder.remove();
    for (const Outgoing& message : worker.outgoing) {
        if (message.descriptor >= 0)
            close(message.descriptor);
    }
    worker.outgoing.clear();
    worker.inbox = {};
    return status;
}

void Crew::post(Worker& worker, Item& item)
{
    int descriptor = -1;
    try {
        if (item.output != nullptr)
            descriptor = item.output->reopen();
    } catch (const Failure& failure) {
        item.result = refusedResult(batch, item.input, failure);
        return;
    }
    if (worker.outgoing.empty() || descriptor >= 0)
        worker.outgoing.push_back({"", descriptor});
    appendMessage(worker.outgoing.back().bytes, requestFields(item.input, item.target, descriptor >= 0));
    if (worker.items.empty())
        worker.begun = Clock::now();
    worker.items.push_back(&item);
}

// As much as there is room for.
void Crew::send(Worker& worker)
{
    while (!worker.outgoing.empty()) {
        Outgoing& next = worker.outgoing.front();
        iovec place = {next.bytes.data(), next.bytes.size()};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))] = {};
        msghdr message = {};
        message.msg_iov = &place;
        message.msg_iovlen = 1;
        if (next.descriptor >= 0) {
            message.msg_control = control;
            message.msg_controllen = sizeof control;
            cmsghdr* header = CMSG_FIRSTHDR(&message);
            header->cmsg_level = SOL_SOCKET;
            header->cmsg_type = SCM_RIGHTS;
            header->cmsg_len = CMSG_LEN(sizeof(int));
            memcpy(CMSG_DATA(header), &next.descriptor, sizeof(int));
        }
        const ssize_t sent = sendmsg(worker.socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0)
            return; // there is no room, or the worker is gone, which is noticed when it is listened to
        if (next.descriptor >= 0)
            close(next.descriptor);
        next.descriptor = -1;
        next.bytes.erase(0, static_cast<size_t>(sent));
        if (!next.bytes.empty())
            return;
        worker.outgoing.pop_front();
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
            const Clock::time_point now = Clock::now();
            secondsOfAFile += (std::chrono::duration<double>(now - worker.begun).count() - secondsOfAFile) / 8;
            worker.begun = now;
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

bool Crew::wait(int otherDescriptor, int milliseconds)
{
    std::vector<pollfd> sockets;
    const Clock::time_point begun = Clock::now();
    for (const std::unique_ptr<Worker>& worker : workers) {
        if (!worker->outgoing.empty())
            send(*worker);
        const short events = worker->outgoing.empty() ? POLLIN : POLLIN | POLLOUT;
        sockets.push_back({worker->items.empty() ? -1 : worker->socket, events, 0});
        if (secondsAFile > 0 && !worker->items.empty()) {
            const double left = secondsAFile - std::chrono::duration<double>(begun - worker->begun).count();
            const int most = static_cast<int>(std::clamp(left * 1000 + 1, 0.0, 1e9));
            milliseconds = milliseconds < 0 ? most : std::min(milliseconds, most);
        }
    }
    sockets.push_back({otherDescriptor, POLLIN, 0});
    if (isWellSupplied())
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    if (poll(sockets.data(), sockets.size(), milliseconds) < 0)
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
    if (secondsAFile <= 0 || worker.items.empty() ||
        std::chrono::duration<double>(Clock::now() - worker.begun).count() < secondsAFile)
        return;
    worker.isOutOfTime = true;
    lose(worker);
}

static std::string seconds(double number)
{
    char text[40];
    snprintf(text, sizeof text, "%g second%s", number, number == 1 ? "" : "s");
    return text;
}

Failure Crew::whyLost(const Worker& worker, int status) const
{
    const std::string& file = worker.items.front()->input.path;
    if (worker.isOutOfTime)
        return {exitBadData, file, "the work on the file took longer than " + seconds(secondsAFile)};
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL && !worker.inbox.isBroken)
        return {exitOutOfMemory, file, "the work on the file was killed (signal 9), as when memory runs out"};
    if (WIFSIGNALED(status))
        return {exitBadData, file, "the file made the program crash (signal " + std::to_string(WTERMSIG(status)) + ")"};
    return {exitBadData, file, "the file made the program end (" + std::to_string(WEXITSTATUS(status)) + ")"};
}

// The first of its files is to blame. The others go to a fresh worker.
void Crew::lose(Worker& worker)
{
    const int status = end(worker);
    if (worker.items.empty())
        return;
    Item& culprit = *worker.items.front();
    culprit.result = refusedResult(batch, culprit.input, whyLost(worker, status));
    culprit.isLost = true;
    worker.isOutOfTime = false;
    std::deque<Item*> others = std::move(worker.items);
    others.pop_front();
    worker.items.clear();
    if (others.empty())
        return;
    start(worker);
    for (Item* item : others)
        post(worker, *item);
}

#include "batch/worker_process.h"

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <system_error>

void Worker::start(const Batch& batch, WorkerSettings settings)
{
    const char* place = getenv("TMPDIR");
    // Without a folder most files can be read all the same.
    folder.makeFolder(std::string(place != nullptr && place[0] != 0 ? place : "/tmp") + "/loomfile-XXXXXX");
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        throw std::system_error(errno, std::generic_category());
    settings.workFolder = folder.name;
    settings.parent = getpid();
    fflush(stdout); // or the worker had it, too
    const SignalsBlocked blocked;
    process = fork();
    if (process == 0)
        work(ends[1], batch, settings, blocked.before);
    const int errorNumber = errno;
    close(ends[1]);
    socket = ends[0];
    if (process < 0) {
        end();
        throw std::system_error(errorNumber, std::generic_category());
    }
    setpgid(process, process); // it does so itself, but who is first is open
    killAtEnd(slot, process);
}

int Worker::end()
{
    int status = 0;
    if (socket >= 0)
        close(socket);
    socket = -1;
    if (process > 0) {
        kill(-process, SIGKILL);
        kill(process, SIGKILL);
        while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
        }
        killAtEnd(slot, 0);
    }
    process = 0;
    folder.remove();
    for (const Outgoing& message : outgoing) {
        if (message.descriptor >= 0)
            close(message.descriptor);
    }
    outgoing.clear();
    inbox = {};
    return status;
}

void Worker::give(Item& item)
{
    const int descriptor = item.output != nullptr ? item.output->reopen() : -1;
    if (outgoing.empty() || descriptor >= 0)
        outgoing.push_back({"", descriptor});
    appendMessage(outgoing.back().bytes, requestFields(item.input, item.target, descriptor >= 0));
    if (items.empty())
        begun = std::chrono::steady_clock::now();
    items.push_back(&item);
}

void Worker::send()
{
    while (!outgoing.empty()) {
        Outgoing& next = outgoing.front();
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
        const ssize_t sent = sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0)
            return; // there is no room, or the worker is gone, which is noticed when it is listened to
        if (next.descriptor >= 0)
            close(next.descriptor);
        next.descriptor = -1;
        next.bytes.erase(0, static_cast<size_t>(sent));
        if (!next.bytes.empty())
            return;
        outgoing.pop_front();
    }
}

static std::string seconds(double number)
{
    char text[40];
    snprintf(text, sizeof text, "%g second%s", number, number == 1 ? "" : "s");
    return text;
}

Failure Worker::whyLost(int status, double secondsAFile) const
{
    const std::string& file = items.front()->input.path;
    if (isOutOfTime)
        return {exitBadData, file, "the work on the file took longer than " + seconds(secondsAFile)};
    if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
        return {exitOutOfMemory, file, "the work on the file was killed (signal 9), as when memory runs out"};
    if (WIFSIGNALED(status))
        return {exitBadData, file, "the file made the program crash (signal " + std::to_string(WTERMSIG(status)) + ")"};
    return {exitBadData, file, "the file made the program end (" + std::to_string(WEXITSTATUS(status)) + ")"};
}

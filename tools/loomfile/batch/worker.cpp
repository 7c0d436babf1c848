#include "batch/worker.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <deque>
#include <new>

#include "batch/confine.h"
#include "cleanup.h"
#include "messages.h"

Result refusedResult(const Batch& batch, const Input& input, const Failure& failure)
{
    Result result;
    result.exitCode = failure.exitCode;
    result.reason = failure.reason;
    result.signal = failure.signal;
    result.messages = sentence(failure.file, failure.reason);
    if (batch.refusedText != nullptr)
        result.text = batch.refusedText(input, failure);
    return result;
}

Result resultOf(const Batch& batch, const Input& input, OutputFile* target)
{
    try {
        Result result = batch.job(input, target);
        if (target != nullptr && result.reason.empty())
            target->finish();
        return result;
    } catch (const Failure& failure) {
        return refusedResult(batch, input, failure);
    } catch (const std::bad_alloc&) {
        return refusedResult(batch, input, {exitOutOfMemory, input.path, "there is not enough memory"});
    }
}

Fields requestFields(const Input& input, const std::string& target, bool hasDescriptor)
{
    return {input.path, input.folder, input.isFound ? "1" : "", target, hasDescriptor ? "1" : ""};
}

static Fields answerFields(const Result& result)
{
    return {std::to_string(result.exitCode),
            result.text,
            result.messages,
            result.facts,
            result.design,
            result.attachment,
            result.reason,
            result.isContinued ? "1" : "",
            std::to_string(result.signal)};
}

Result resultOfAnswer(const Fields& fields)
{
    Result result;
    result.exitCode = std::stoi(fields.at(0));
    result.text = fields.at(1);
    result.messages = fields.at(2);
    result.facts = fields.at(3);
    result.design = fields.at(4);
    result.attachment = fields.at(5);
    result.reason = fields.at(6);
    result.isContinued = !fields.at(7).empty();
    result.signal = std::stoi(fields.at(8));
    return result;
}

// The parent's end of the socket. A descriptor comes with the first byte of the message that it belongs to.
struct Parent {
    int socket = -1;
    Inbox inbox;
    std::deque<int> descriptors;

    // Returns false when there is nothing more to do.
    bool read()
    {
        char bytes[1 << 14];
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof(int))];
        iovec place = {bytes, sizeof bytes};
        msghdr message = {};
        message.msg_iov = &place;
        message.msg_iovlen = 1;
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        const ssize_t got = recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
        if (got <= 0)
            return got < 0 && errno == EINTR;
        for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr; header = CMSG_NXTHDR(&message, header)) {
            if (header->cmsg_type == SCM_RIGHTS)
                descriptors.push_back(*reinterpret_cast<const int*>(CMSG_DATA(header)));
        }
        inbox.add(bytes, static_cast<size_t>(got));
        return true;
    }

    void send(const std::string& bytes) const
    {
        for (size_t sent = 0; sent < bytes.size();) {
            const ssize_t count = ::send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count < 0 && errno != EINTR)
                _exit(EXIT_FAILURE); // nobody is there to be answered
            sent += static_cast<size_t>(count < 0 ? 0 : count);
        }
    }
};

static Result answerTo(const Batch& batch, const Fields& request, std::deque<int>& descriptors)
{
    const Input input = {request.at(0), request.at(1), !request.at(2).empty()};
    const std::string& name = request.at(3);
    if (name.empty())
        return resultOf(batch, input, nullptr);
    int descriptor = -1;
    if (!request.at(4).empty()) {
        descriptor = descriptors.front();
        descriptors.pop_front();
    }
    OutputFile target(name, descriptor);
    return resultOf(batch, input, &target);
}

// Nothing of the parent is left but the socket, what the helpers may print, and what the job needs.
static int leaveParent(int socket, const WorkerSettings& settings, bool writesOutput)
{
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != settings.parent)
        _exit(EXIT_FAILURE);
    leaveEndingSignals();
    constexpr int place = STDERR_FILENO + 1;
    if (socket != place)
        dup2(socket, place);
    fcntl(place, F_SETFD, FD_CLOEXEC);
    closefrom(place + 1);
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    if (!settings.keepsInput)
        dup2(nothing, STDIN_FILENO);
    if (!writesOutput)
        dup2(nothing, STDOUT_FILENO);
    close(nothing);
    if (!settings.workFolder.empty())
        setenv("TMPDIR", settings.workFolder.c_str(), 1);
    return place;
}

void work(int socket, const Batch& batch, const WorkerSettings& settings, const sigset_t& signals)
{
    Parent parent;
    parent.socket = leaveParent(socket, settings, batch.target == standardStream);
    pthread_sigmask(SIG_SETMASK, &signals, nullptr);
    confine(settings.workFolder, settings.mostBytes);
    while (true) {
        std::optional<Fields> request = parent.inbox.take();
        if (!request) {
            if (!parent.read())
                _exit(EXIT_SUCCESS);
            continue;
        }
        std::string answer;
        appendMessage(answer, answerFields(answerTo(batch, *request, parent.descriptors)));
        parent.send(answer);
    }
}

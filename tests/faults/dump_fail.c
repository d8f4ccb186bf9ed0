// Preloaded: the kernel's answers to a dump over netlink go wrong.
//
//     FAULT_DUMP=2:error=16   the second answer is an error of that number, EBUSY here
//     FAULT_DUMP=2:cut        its last message is cut in the middle
//     FAULT_DUMP=2:header     all of it is cut but the beginning of the first header
//     FAULT_DUMP=2:length     its first message says that it is longer than the answer
//     FAULT_DUMP=2:short      its first message says that it is shorter than its header
//     FAULT_DUMP=2:changed    the kernel says that the table has changed meanwhile
//     FAULT_DUMP=2:other      it answers another question
//     FAULT_DUMP=2:done       there is nothing more to come
//
// What libraries receive is reached; what the C library receives for itself is not.

#include <dlfcn.h>
#include <errno.h>
#include <linux/netlink.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

static unsigned long chosen;
static unsigned long done;
static const char *kind = "";

__attribute__((constructor)) static void arm(void)
{
    const char *which = getenv("FAULT_DUMP");
    (void)unsetenv("LD_PRELOAD");
    if (which == NULL)
        return;
    char *end;
    chosen = strtoul(which, &end, 10);
    kind = *end == ':' ? end + 1 : end;
}

static int is_kind(const char *name)
{
    return strcmp(kind, name) == 0;
}

static ssize_t spoil(void *answer, size_t size, ssize_t length)
{
    struct nlmsghdr *message = answer;
    if (length < (ssize_t)sizeof(*message) || ++done != chosen)
        return length;
    if (strncmp(kind, "error=", 6) == 0 || is_kind("done")) {
        const int error = is_kind("done") ? 0 : -atoi(kind + 6);
        if (size < NLMSG_LENGTH(sizeof(struct nlmsgerr)))
            return length;
        (void)memset(NLMSG_DATA(message), 0, sizeof(struct nlmsgerr));
        (void)memcpy(NLMSG_DATA(message), &error, sizeof(error));
        message->nlmsg_type = is_kind("done") ? NLMSG_DONE : NLMSG_ERROR;
        message->nlmsg_len = NLMSG_LENGTH(sizeof(struct nlmsgerr));
        return (ssize_t)message->nlmsg_len;
    }
    if (is_kind("cut"))
        return length - 8;
    if (is_kind("header"))
        return 6;
    if (is_kind("length"))
        message->nlmsg_len = (unsigned int)length + 64;
    if (is_kind("short"))
        message->nlmsg_len = 3;
    if (is_kind("changed"))
        message->nlmsg_flags |= NLM_F_DUMP_INTR;
    if (is_kind("other"))
        message->nlmsg_seq++;
    return length;
}

static int is_netlink(int fd)
{
    int domain = 0;
    socklen_t size = sizeof(domain);
    return getsockopt(fd, SOL_SOCKET, SO_DOMAIN, &domain, &size) == 0 && domain == AF_NETLINK;
}

ssize_t recvfrom(int fd, void *restrict buffer, size_t size, int flags, struct sockaddr *restrict from,
                 socklen_t *restrict from_size)
{
    typedef ssize_t (*receiver)(int, void *, size_t, int, struct sockaddr *, socklen_t *);
    receiver next;
    *(void **)&next = dlsym(RTLD_NEXT, "recvfrom");
    const ssize_t length = next(fd, buffer, size, flags, from, from_size);
    return is_netlink(fd) && (flags & MSG_PEEK) == 0 ? spoil(buffer, size, length) : length;
}

ssize_t recvmsg(int fd, struct msghdr *message, int flags)
{
    typedef ssize_t (*receiver)(int, struct msghdr *, int);
    receiver next;
    *(void **)&next = dlsym(RTLD_NEXT, "recvmsg");
    const ssize_t length = next(fd, message, flags);
    if (!is_netlink(fd) || (flags & MSG_PEEK) != 0 || message->msg_iovlen == 0)
        return length;
    return spoil(message->msg_iov[0].iov_base, message->msg_iov[0].iov_len, length);
}

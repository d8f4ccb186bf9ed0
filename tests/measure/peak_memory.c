// peak-memory PROGRAM [ARGUMENT]...: runs the program, and then says on the last line of standard error how many KiB of
// it were resident at most. It stops the program when it exits and asks the kernel then: what wait4 tells is the
// most of the program, of whatever started it, and of the tools that it started.

#include <inttypes.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

static void print_peak(pid_t program)
{
    char path[64];
    char line[256];
    (void)snprintf(path, sizeof(path), "/proc/%jd/status", (intmax_t)program);
    FILE *status = fopen(path, "re");
    while (status != NULL && fgets(line, sizeof(line), status) != NULL) {
        unsigned long peak;
        if (sscanf(line, "VmHWM: %lu kB", &peak) == 1)
            (void)fprintf(stderr, "peak %lu KiB\n", peak);
    }
    if (status != NULL)
        (void)fclose(status);
}

static int die(const char *what)
{
    perror(what);
    return 125;
}

int main(int argc, char **argv)
{
    if (argc < 2)
        return die("peak-memory: no program");
    const pid_t program = fork();
    if (program == 0) {
        (void)ptrace(PTRACE_TRACEME, 0, NULL, NULL);
        (void)execvp(argv[1], argv + 1);
        _exit(die(argv[1]));
    }
    int status;
    if (program < 0 || waitpid(program, &status, 0) < 0 || !WIFSTOPPED(status))
        return die("peak-memory");
    if (ptrace(PTRACE_SETOPTIONS, program, NULL,
               (void *)(PTRACE_O_TRACEEXIT | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL)) != 0)
        return die("peak-memory: ptrace");
    long signal_to_pass = 0; // not the first one, which is the start of the program
    for (;;) {
        (void)ptrace(PTRACE_CONT, program, NULL, (void *)signal_to_pass);
        if (waitpid(program, &status, 0) < 0)
            return die("peak-memory");
        if (WIFEXITED(status))
            return WEXITSTATUS(status);
        if (WIFSIGNALED(status))
            return 128 + WTERMSIG(status);
        const int event = status >> 16;
        if (event == PTRACE_EVENT_EXIT)
            print_peak(program);
        signal_to_pass = event == 0 ? WSTOPSIG(status) : 0;
    }
}

#include "isolation/CallNames.h"

#include <string_view>
#include <utility>

#include <sys/syscall.h>

namespace Pelgra {

namespace {

// Not every machine has the older ones.
constexpr std::pair<long, std::string_view> names[] = {
#ifdef SYS_fork
    {SYS_fork, "fork"},
#endif
#ifdef SYS_vfork
    {SYS_vfork, "vfork"},
#endif
#ifdef SYS_open
    {SYS_open, "open"},
#endif
#ifdef SYS_mkdir
    {SYS_mkdir, "mkdir"},
#endif
#ifdef SYS_unlink
    {SYS_unlink, "unlink"},
#endif
#ifdef SYS_rename
    {SYS_rename, "rename"},
#endif
    {SYS_socket, "socket"},
    {SYS_connect, "connect"},
    {SYS_bind, "bind"},
    {SYS_listen, "listen"},
    {SYS_sendto, "sendto"},
    {SYS_execve, "execve"},
    {SYS_execveat, "execveat"},
    {SYS_clone, "clone"},
    {SYS_kill, "kill"},
    {SYS_tkill, "tkill"},
    {SYS_tgkill, "tgkill"},
    {SYS_ptrace, "ptrace"},
    {SYS_process_vm_readv, "process_vm_readv"},
    {SYS_process_vm_writev, "process_vm_writev"},
    {SYS_openat, "openat"},
    {SYS_mkdirat, "mkdirat"},
    {SYS_unlinkat, "unlinkat"},
    {SYS_renameat2, "renameat2"},
    {SYS_linkat, "linkat"},
    {SYS_symlinkat, "symlinkat"},
    {SYS_fchmod, "fchmod"},
    {SYS_fchmodat, "fchmodat"},
    {SYS_fchown, "fchown"},
    {SYS_fchownat, "fchownat"},
    {SYS_truncate, "truncate"},
    {SYS_mount, "mount"},
    {SYS_umount2, "umount2"},
    {SYS_chroot, "chroot"},
    {SYS_setuid, "setuid"},
    {SYS_setgid, "setgid"},
    {SYS_setsid, "setsid"},
    {SYS_unshare, "unshare"},
    {SYS_setns, "setns"},
    {SYS_bpf, "bpf"},
    {SYS_io_uring_setup, "io_uring_setup"},
    {SYS_keyctl, "keyctl"},
    {SYS_pidfd_open, "pidfd_open"},
    {SYS_pidfd_send_signal, "pidfd_send_signal"},
    {SYS_inotify_init1, "inotify_init1"},
    {SYS_shmget, "shmget"},
    {SYS_shmat, "shmat"},
    {SYS_mincore, "mincore"},
    {SYS_mlockall, "mlockall"}};

} // namespace

std::string nameOfCall(std::uint32_t number)
{
    for (const auto& [known, name] : names)
        if (known == static_cast<long>(number))
            return std::string(name);
    return "number " + std::to_string(number);
}

} // namespace Pelgra

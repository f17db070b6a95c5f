// System calls of the jail; see jail.h.
#include "run/jail.h"

#include <fcntl.h>
#include <linux/audit.h>
#include <linux/filter.h>
#include <linux/landlock.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <iterator>

namespace vorlan::server {
namespace {

constexpr rlim_t kLargestFile = rlim_t{16} << 30;
constexpr rlim_t kMostFiles = 256;
// Counted for all processes of the server's user, so it stops a flood and nothing less.
constexpr rlim_t kMostProcesses = 4096;

// Rights that the headers of older systems do not name. Those of a kernel are the first so many.
constexpr uint64_t kTruncate = uint64_t{1} << 14;
constexpr uint64_t kDeviceControl = uint64_t{1} << 15;
constexpr uint64_t kRightsOfVersion[] = {0,
                                         (uint64_t{1} << 13) - 1,
                                         (uint64_t{1} << 14) - 1,
                                         kTruncate | ((uint64_t{1} << 14) - 1),
                                         kTruncate | ((uint64_t{1} << 14) - 1),
                                         kDeviceControl | kTruncate | ((uint64_t{1} << 14) - 1)};

constexpr uint64_t kRead =
    LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
constexpr uint64_t kWrite = LANDLOCK_ACCESS_FS_WRITE_FILE | LANDLOCK_ACCESS_FS_READ_FILE |
                            LANDLOCK_ACCESS_FS_READ_DIR | LANDLOCK_ACCESS_FS_REMOVE_FILE |
                            LANDLOCK_ACCESS_FS_MAKE_REG | kTruncate;
constexpr uint64_t kOfFiles = LANDLOCK_ACCESS_FS_EXECUTE | LANDLOCK_ACCESS_FS_READ_FILE |
                              LANDLOCK_ACCESS_FS_WRITE_FILE | kTruncate;

// The kernel's own structure. The headers of older systems end after the first field, and their
// kernels are given no more.
struct Ruleset {
  uint64_t files = 0;
  uint64_t network = 0;
  uint64_t scopes = 0;
};
constexpr uint64_t kBindAndConnect = 3;
constexpr uint64_t kScopes = 3;  // abstract sockets, signals

Ruleset rules_of_version(int version) {
  Ruleset rules;
  const auto newest = static_cast<int>(std::size(kRightsOfVersion)) - 1;
  rules.files = kRightsOfVersion[version < newest ? version : newest];
  if (version >= 4) rules.network = kBindAndConnect;
  if (version >= 6) rules.scopes = kScopes;
  return rules;
}

size_t size_for_version(int version) {
  if (version >= 6) return sizeof(Ruleset);
  return version >= 4 ? offsetof(Ruleset, scopes) : offsetof(Ruleset, network);
}

bool allow(int ruleset, const std::string& path, uint64_t rights) {
  const Descriptor file(open(path.c_str(), O_PATH | O_CLOEXEC));
  // A path that is not there, or not for this user, needs no rule. Any other failure would leave the
  // worker without what it needs.
  if (!file.valid()) return errno == ENOENT || errno == ENOTDIR || errno == EACCES;
  struct stat status {};
  if (fstat(file.get(), &status) != 0) return false;
  if (!S_ISDIR(status.st_mode)) rights &= kOfFiles;
  landlock_path_beneath_attr rule{};
  rule.allowed_access = rights;
  rule.parent_fd = file.get();
  return syscall(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) == 0;
}

// ---- The filter of system calls --------------------------------------------------------------

constexpr sock_filter load(size_t offset) {
  return {BPF_LD | BPF_W | BPF_ABS, 0, 0, static_cast<uint32_t>(offset)};
}
constexpr sock_filter leave(uint32_t action) { return {BPF_RET | BPF_K, 0, 0, action}; }
constexpr sock_filter skip_unless(uint16_t test, uint32_t value, uint8_t count) {
  return {static_cast<uint16_t>(BPF_JMP | BPF_K | test), 0, count, value};
}

constexpr uint32_t kRefuse = SECCOMP_RET_ERRNO | EPERM;
// The C library then tries what the filter can look at.
constexpr uint32_t kUnknown = SECCOMP_RET_ERRNO | ENOSYS;
constexpr uint32_t kNamespaces = CLONE_NEWNS | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWUSER |
                                 CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWCGROUP;
// The numbers of another architecture's calls on the same processor.
constexpr uint32_t kForeignCalls = 0x40000000;

constexpr long kRefused[] = {SYS_socket,
                             SYS_socketpair,
                             SYS_ptrace,
                             SYS_process_vm_readv,
                             SYS_process_vm_writev,
                             SYS_mount,
                             SYS_umount2,
                             SYS_pivot_root,
                             SYS_chroot,
                             SYS_bpf,
                             SYS_perf_event_open,
                             SYS_keyctl,
                             SYS_add_key,
                             SYS_request_key,
                             SYS_unshare,
                             SYS_setns,
                             SYS_init_module,
                             SYS_finit_module,
                             SYS_delete_module,
                             SYS_kexec_load,
                             SYS_reboot,
                             SYS_swapon,
                             SYS_swapoff,
                             SYS_open_by_handle_at,
                             SYS_userfaultfd,
                             SYS_io_uring_setup,
                             SYS_setsid,
                             SYS_setpgid,
                             SYS_fsopen,
                             SYS_move_mount,
                             SYS_open_tree,
                             SYS_quotactl,
                             SYS_acct,
                             SYS_settimeofday,
                             SYS_clock_settime,
                             SYS_sethostname};

const std::vector<sock_filter>& filter() {
  static const std::vector<sock_filter> made = [] {
    std::vector<sock_filter> steps = {
        load(offsetof(seccomp_data, arch)), skip_unless(BPF_JEQ, AUDIT_ARCH_X86_64, 1),
        {BPF_JMP | BPF_JA, 0, 0, 1},        leave(SECCOMP_RET_KILL_PROCESS),
        load(offsetof(seccomp_data, nr)),   skip_unless(BPF_JGE, kForeignCalls, 1),
        leave(SECCOMP_RET_KILL_PROCESS)};
    for (const long call : kRefused) {
      steps.push_back(skip_unless(BPF_JEQ, static_cast<uint32_t>(call), 1));
      steps.push_back(leave(kRefuse));
    }
    steps.insert(steps.end(),
                 {skip_unless(BPF_JEQ, SYS_clone3, 1), leave(kUnknown),
                  skip_unless(BPF_JEQ, SYS_clone, 3), load(offsetof(seccomp_data, args)),
                  skip_unless(BPF_JSET, kNamespaces, 1), leave(kRefuse), leave(SECCOMP_RET_ALLOW)});
    return steps;
  }();
  return made;
}

bool set_limit(__rlimit_resource resource, rlim_t value) {
  rlimit limit{};
  if (getrlimit(resource, &limit) != 0) return false;
  // Never above what the server itself was given.
  if (limit.rlim_max != RLIM_INFINITY && limit.rlim_max < value) value = limit.rlim_max;
  limit = {value, value};
  return setrlimit(resource, &limit) == 0;
}

uint64_t machine_memory() {
  return static_cast<uint64_t>(sysconf(_SC_PHYS_PAGES)) *
         static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

Jail::Jail(const JailSettings& settings, const std::string& program) : settings_(settings) {
  if (settings_.most_memory == 0) settings_.most_memory = machine_memory();
  if (!settings_.enabled) return;
  const long version =
      syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
  landlock_version_ = static_cast<int>(std::max(0L, version));
  if (landlock_version_ == 0) {
    missing_.emplace_back("Landlock: workers can read and write what the server's user can");
  } else if (landlock_version_ < 3) {
    missing_.emplace_back("Landlock 3: workers can empty files that the server's user can write");
  }
  has_seccomp_ = prctl(PR_GET_SECCOMP, 0, 0, 0, 0) >= 0;
  if (!has_seccomp_) missing_.emplace_back("seccomp: workers can use the network");
  const std::filesystem::path folder = std::filesystem::path(program).parent_path();
  readable_ = {"/usr",
               "/lib",
               "/lib64",
               "/bin",
               "/etc/ld.so.cache",
               "/etc/alternatives",
               "/etc/localtime",
               "/proc",
               "/sys/devices/system",
               "/dev/urandom",
               folder.string(),
               (folder.parent_path() / "lib").string()};
  (void)filter();  // made before any fork
}

Descriptor Jail::prepare(const std::string& folder) const {
  if (landlock_version_ == 0) return {};
  const Ruleset rules = rules_of_version(landlock_version_);
  Descriptor ruleset(static_cast<int>(
      syscall(SYS_landlock_create_ruleset, &rules, size_for_version(landlock_version_), 0)));
  if (!ruleset.valid()) return {};
  const std::string job = std::filesystem::path(folder).parent_path();
  bool done =
      allow(ruleset.get(), folder, kWrite & rules.files) &&
      allow(ruleset.get(), job, kRead & rules.files & ~uint64_t{LANDLOCK_ACCESS_FS_EXECUTE}) &&
      allow(ruleset.get(), "/dev/null", kWrite & rules.files);
  for (const std::string& path : readable_) {
    done = done && allow(ruleset.get(), path, kRead & rules.files);
  }
  if (!done) ruleset.reset();
  return ruleset;
}

bool Jail::set_limits() const {
#ifndef __SANITIZE_ADDRESS__  // which takes more for its own books than any machine has
  if (!set_limit(RLIMIT_DATA, settings_.most_memory)) return false;
#endif
  return set_limit(RLIMIT_CORE, 0) && set_limit(RLIMIT_FSIZE, kLargestFile) &&
         set_limit(RLIMIT_NOFILE, kMostFiles) && set_limit(RLIMIT_NPROC, kMostProcesses);
}

bool Jail::enter(int rules) const {
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || !set_limits()) return false;
  if (rules >= 0 && syscall(SYS_landlock_restrict_self, rules, 0) != 0) return false;
  if (!has_seccomp_) return true;
  sock_fprog program{};
  program.len = static_cast<unsigned short>(filter().size());
  program.filter = const_cast<sock_filter*>(filter().data());
  return prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0) == 0;
}

}  // namespace vorlan::server

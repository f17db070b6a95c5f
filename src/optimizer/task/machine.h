// What the machine gives to this process, which can be less than it has.
#pragma once

#include <cstdint>
#include <string>

namespace vorlan {

// Where the system tells of the control groups that this process is in.
struct ControlGroups {
  std::string list = "/proc/self/cgroup";
  std::string root = "/sys/fs/cgroup";
};

// The processors that the groups' quotas allow; infinite where there is no quota.
double processor_quota(const ControlGroups& groups = {});

// Memory that the groups' limits leave, in bytes; infinite where there is no limit.
double memory_within_limits(const ControlGroups& groups = {});

// Processors that this process may use at once, by its affinity and the quota of its control group,
// rounded; at least 1.
int32_t usable_processors();

// Threads that one search for integer points takes: what was asked for, or for 0 half of the
// processors, so that there is room for a second one.
int32_t search_threads(int32_t asked);

// Threads that the conic method takes at most: what was asked for, or for 0 all of the processors.
int32_t continuous_threads(int32_t asked);

// True when the address space, and the data that the process may have, have room for so many bytes
// more.
bool has_address_space(double bytes);

// True when the system has a processor that nobody uses at this moment.
bool has_idle_processor();

// Memory that can be had without paging, in bytes, by the system and the control group's limit;
// unlimited where neither tells.
double available_memory();

// Memory that this process holds, in bytes; 0 where the system does not tell.
double resident_memory();

}  // namespace vorlan

#pragma once

#include <csignal>
#include <spawn.h>
#include <string>
#include <vector>

/// Starts a command, found by PATH, in a process group or session of its own.
/// @param blocked   the signals that it starts with blocked
/// @param defaults  the signals that it starts with the default action for
/// @param group     POSIX_SPAWN_SETPGROUP or POSIX_SPAWN_SETSID
/// @param id        its process, when it was started
/// @return 0, or the errno that says why it could not be started
int Spawn(const std::vector<std::string>& command, const sigset_t& blocked, const sigset_t& defaults,
          int group, const posix_spawn_file_actions_t& actions, pid_t& id);

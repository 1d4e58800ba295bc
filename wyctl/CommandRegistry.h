#pragma once

// The commands that the parser knows, and what runs each.

#include <CLI/CLI.hpp>

#include <functional>
#include <map>
#include <string>
#include <utility>

#include "wyctl/Context.h"

namespace WyCtl {

// Grows while the families of commands enter themselves; asked once, after the line was parsed.
class CommandRegistry {
public:
    // Runs one command and returns the exit code, or raises one of Errors.h.
    using Runner = std::function<int(Context&)>;

    // The application is kept by reference and outlives the registry.
    explicit CommandRegistry(CLI::App& app) : m_App(app) {}

    // A command of the program itself.
    CLI::App* Add(const char* name, const char* about, Runner runner) {
        return Add(m_App, name, about, std::move(runner));
    }

    // One of a group of commands.
    CLI::App* Add(CLI::App& group, const char* name, const char* about, Runner runner) {
        CLI::App* const command = group.add_subcommand(name, about);
        command->fallthrough();
        m_Runners[command] = std::move(runner);
        return command;
    }

    // A group: its name alone is no command.
    CLI::App* AddGroup(const char* name, const char* about) {
        CLI::App* const group = m_App.add_subcommand(name, about);
        group->require_subcommand(1)->fallthrough();
        return group;
    }

    // What runs a command that was added.
    const Runner& RunnerOf(const CLI::App* command) const { return m_Runners.at(command); }

private:
    CLI::App& m_App;
    std::map<const CLI::App*, Runner> m_Runners;
};

}  // namespace WyCtl

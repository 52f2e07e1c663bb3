// SPDX-License-Identifier: MIT
#include <fmt/format.h>

#include <memory>

#include "zolt/commands.h"
#include "zolt/completion_words.h"

namespace zolt {

void add_completion_command(CLI::App &app, peer::exit_code &exit) {
  CLI::App *command = app.add_subcommand("completion", "Write the script by which a shell completes zolt's words");
  auto shell = std::make_shared<std::string>();
  command->add_option("SHELL", *shell, "The shell")->required()->check(CLI::IsMember({"bash", "zsh", "fish"}));
  command->footer(
      "Packages bring the scripts along; these are for the rest.\n"
      "Examples:\n"
      "  zolt completion bash > ~/.local/share/bash-completion/completions/zolt\n"
      "  zolt completion zsh > ~/.zfunc/_zolt\n"
      "  zolt completion fish > ~/.config/fish/completions/zolt.fish");
  command->callback([&app, shell, &exit] {
    std::vector<command_words> words = words_of(app);
    fmt::print("{}", *shell == "bash"  ? bash_completion(words)
                     : *shell == "zsh" ? zsh_completion(words)
                                       : fish_completion(words));
    exit = std::fflush(stdout) == 0 ? peer::exit_code::ok : peer::exit_code::other;
  });
}

}  // namespace zolt

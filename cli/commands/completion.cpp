// completion: lets a shell complete command lines, from the very declarations that parse them.
#include "cli/command.h"

namespace cli {

namespace {

struct Words {
  std::string command;
  std::string what;
  std::vector<std::pair<std::string, std::string>> options;  // with what they do
};

std::vector<std::pair<std::string, std::string>> OptionsOf(const CLI::App& app) {
  std::vector<std::pair<std::string, std::string>> options;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames())
      options.emplace_back("--" + name, option->get_description());
  }
  return options;
}

std::vector<Words> Collect(const CLI::App& app) {
  std::vector<Words> all;
  for (const CLI::App* command : app.get_subcommands({})) {
    all.push_back({command->get_name(), command->get_description(), OptionsOf(*command)});
  }
  return all;
}

std::string Join(const std::vector<std::pair<std::string, std::string>>& options) {
  std::string text;
  for (const auto& [name, what] : options) text += (text.empty() ? "" : " ") + name;
  return text;
}

// For a word in single quotes.
std::string Quoted(const std::string& text) {
  std::string out;
  for (char c : text) {
    if (c == '\'') out += "'\\'";
    out += c;
  }
  return out;
}

std::string ForBash(const CLI::App& app) {
  std::string names;
  std::string cases;
  for (const Words& words : Collect(app)) {
    names += (names.empty() ? "" : " ") + words.command;
    cases += fmt::format("    {}) options=\"{}\" ;;\n", words.command, Join(words.options));
  }
  return fmt::format(
      "_pmstore() {{\n"
      "  local word=${{COMP_WORDS[COMP_CWORD]}} command= options=\"{0}\" i\n"
      "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
      "    [[ ${{COMP_WORDS[i]}} == -* ]] || {{ command=${{COMP_WORDS[i]}}; break; }}\n"
      "  done\n"
      "  COMPREPLY=()\n"
      "  if [[ -z $command && $word != -* ]]; then\n"
      "    COMPREPLY=($(compgen -W \"{1}\" -- \"$word\"))\n"
      "    return\n"
      "  fi\n"
      "  case $command in\n"
      "{2}"
      "  esac\n"
      "  [[ $word != -* ]] || COMPREPLY=($(compgen -W \"$options\" -- \"$word\"))\n"
      "}}\n"
      "complete -o default -F _pmstore pmstore\n",
      Join(OptionsOf(app)), names, cases);
}

std::string ForZsh(const CLI::App& app) {
  std::string commands;
  std::string cases;
  for (const Words& words : Collect(app)) {
    commands += fmt::format("    '{}:{}'\n", words.command, Quoted(words.what));
    cases += fmt::format("    {}) compadd -- {} ;;\n", words.command, Join(words.options));
  }
  return fmt::format(
      "#compdef pmstore\n"
      "_pmstore() {{\n"
      "  local -a commands=(\n{0}  )\n"
      "  local command=${{words[(r)(${{(j:|:)${{commands%%:*}}}})]}}\n"
      "  if [[ -z $command && $PREFIX != -* ]]; then\n"
      "    _describe command commands\n"
      "    return\n"
      "  fi\n"
      "  [[ $PREFIX == -* ]] || {{ _files; return; }}\n"
      "  case $command in\n"
      "{1}"
      "    *) compadd -- {2} ;;\n"
      "  esac\n"
      "}}\n"
      "compdef _pmstore pmstore\n",
      commands, cases, Join(OptionsOf(app)));
}

std::string ForFish(const CLI::App& app) {
  std::string text;
  for (const auto& [name, what] : OptionsOf(app)) {
    text += fmt::format("complete -c pmstore -l {} -d '{}'\n", name.substr(2), Quoted(what));
  }
  for (const Words& words : Collect(app)) {
    text += fmt::format("complete -c pmstore -n __fish_use_subcommand -a {} -d '{}'\n", words.command,
                        Quoted(words.what));
    for (const auto& [name, what] : words.options) {
      text += fmt::format("complete -c pmstore -n '__fish_seen_subcommand_from {}' -l {} -d '{}'\n",
                          words.command, name.substr(2), Quoted(what));
    }
  }
  return text;
}

}  // namespace

void RegisterCompletion(Tool& tool) {
  CLI::App* command = tool.app->add_subcommand("completion", "Print a completion script for a shell");
  const auto shell = std::make_shared<std::string>();
  command->add_option("SHELL", *shell, "The shell")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish"}));
  command->callback([&tool, shell] {
    tool.chosen = [&tool, shell] {
      const std::string script = *shell == "bash"  ? ForBash(*tool.app)
                                 : *shell == "zsh" ? ForZsh(*tool.app)
                                                   : ForFish(*tool.app);
      tool.console.bytes(Bytes(script.begin(), script.end()));
      return ExitCode::kFine;
    };
  });
}

}  // namespace cli

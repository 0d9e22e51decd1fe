// completion: lets a shell complete command lines, from the very declarations that parse them.
#include <algorithm>
#include <sstream>

#include "cli/command.h"

namespace cli {

namespace {

struct Option {
  std::string name;  // "--sort"
  std::string what;
  bool takesValue = false;
  std::string choices;  // the values, where they can be listed, with spaces between
};

struct Command {
  std::string name;
  std::string what;
  std::vector<Option> options;
  std::string choices;  // of what stands behind the command
};

// The parser describes a list of choices as "{auto,file,backup}".
std::string ChoicesOf(const CLI::Option& option) {
  const std::string type = option.get_type_name();
  const size_t begin = type.find('{');
  if (begin == std::string::npos) return "";
  std::string choices = type.substr(begin + 1, type.find('}') - begin - 1);
  std::replace(choices.begin(), choices.end(), ',', ' ');
  return choices;
}

Command Describe(const CLI::App& app) {
  Command command{app.get_name(), app.get_description(), {}, ""};
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) {
      command.options.push_back(
          {"--" + name, option->get_description(), option->get_expected_max() > 0, ChoicesOf(*option)});
    }
    if (option->get_positional()) command.choices += ChoicesOf(*option);
  }
  return command;
}

std::vector<Command> DescribeCommands(const CLI::App& app) {
  std::vector<Command> commands;
  for (const CLI::App* command : app.get_subcommands({})) commands.push_back(Describe(*command));
  return commands;
}

// Hands out the words that can stand behind a command or an option of it, wherever they can be listed.
template <typename Take>
void ForEachChoice(const Command& command, Take take) {
  if (!command.choices.empty()) take(command.name, command.choices);
  for (const Option& option : command.options) {
    if (!option.choices.empty()) take(option.name, option.choices);
  }
}

// For a word in single quotes, with a backslash before each of `special`.
std::string Quoted(const std::string& text, const std::string& special = "") {
  std::string out;
  for (char c : text) {
    if (c == '\'') out += "'\\'";
    if (special.find(c) != std::string::npos) out += '\\';
    out += c;
  }
  return out;
}

std::string OptionNames(const std::vector<Option>& options) {
  std::string names;
  for (const Option& option : options) names += (names.empty() ? "" : " ") + option.name;
  return names;
}

std::string ForBash(const CLI::App& app) {
  std::string names;
  std::string options;
  std::string choices;
  for (const Command& command : DescribeCommands(app)) {
    names += (names.empty() ? "" : " ") + command.name;
    options += fmt::format("    {}) options=\"{}\" ;;\n", command.name, OptionNames(command.options));
    ForEachChoice(command, [&](const std::string& behind, const std::string& words) {
      choices += fmt::format("    {}:{}) choices=\"{}\" ;;\n", command.name, behind, words);
    });
  }
  return fmt::format(
      "_pmstore() {{\n"
      "  local word=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}}\n"
      "  local command= choices= options=\"{0}\" i\n"
      "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
      "    [[ ${{COMP_WORDS[i]}} == -* ]] || {{ command=${{COMP_WORDS[i]}}; break; }}\n"
      "  done\n"
      "  case $command in\n"
      "{2}"
      "  esac\n"
      "  case $command:$previous in\n"
      "{3}"
      "  esac\n"
      "  [[ -n $command ]] || choices=\"{1}\"\n"
      "  [[ $word != -* ]] || choices=$options\n"
      "  COMPREPLY=($(compgen -W \"$choices\" -- \"$word\"))\n"
      "}}\n"
      "complete -o default -F _pmstore pmstore\n",
      OptionNames(Describe(app).options), names, options, choices);
}

// The options as _arguments takes them, one a line.
std::string ZshSpecs(const Command& command) {
  std::string specs;
  for (const Option& option : command.options) {
    const std::string values = option.choices.empty() ? "_files" : fmt::format("({})", option.choices);
    specs += fmt::format("      '{}[{}]{}' \\\n", option.name, Quoted(option.what, "[]:\\"),
                         option.takesValue ? ":value:" + values : "");
  }
  return specs;
}

std::string ForZsh(const CLI::App& app) {
  std::string commands;
  std::string cases;
  for (const Command& command : DescribeCommands(app)) {
    commands += fmt::format("    '{}:{}'\n", command.name, Quoted(command.what));
    cases +=
        fmt::format("    {}) _arguments \\\n{}      '*:argument:{}' ;;\n", command.name, ZshSpecs(command),
                    command.choices.empty() ? "_files" : fmt::format("({})", command.choices));
  }
  return fmt::format(
      "#compdef pmstore\n"
      "_pmstore() {{\n"
      "  local context state state_descr line\n"
      "  typeset -A opt_args\n"
      "  local -a commands=(\n{0}  )\n"
      "  _arguments -C \\\n{1}      '1:command:->command' '*::argument:->argument'\n"
      "  [[ $state != command ]] || _describe command commands\n"
      "  [[ $state == argument ]] || return\n"
      "  case $words[1] in\n"
      "{2}"
      "  esac\n"
      "}}\n"
      "if [[ $funcstack[1] == _pmstore ]]; then _pmstore \"$@\"; else compdef _pmstore pmstore; fi\n",
      commands, ZshSpecs(Describe(app)), cases);
}

std::string ForFish(const CLI::App& app) {
  std::string text;
  const auto add = [&text](const std::string& when, const Option& option) {
    const std::string value = !option.choices.empty() ? fmt::format(" -x -a '{}'", option.choices)
                              : option.takesValue     ? " -r"
                                                      : "";
    text += fmt::format("complete -c pmstore{} -l {} -d '{}'{}\n", when, option.name.substr(2),
                        Quoted(option.what), value);
  };
  for (const Option& option : Describe(app).options) add("", option);
  for (const Command& command : DescribeCommands(app)) {
    text += fmt::format("complete -c pmstore -n __fish_use_subcommand -f -a {} -d '{}'\n", command.name,
                        Quoted(command.what));
    const std::string when = fmt::format(" -n '__fish_seen_subcommand_from {}'", command.name);
    if (!command.choices.empty())
      text += fmt::format("complete -c pmstore{} -f -a '{}'\n", when, command.choices);
    for (const Option& option : command.options) add(when, option);
  }
  return text;
}

// Words as the elements of a list: 'a', 'b'.
std::string PowerShellList(const std::string& words) {
  std::string list;
  std::istringstream stream(words);
  for (std::string word; stream >> word;) list += fmt::format("{}'{}'", list.empty() ? "" : ", ", word);
  return list;
}

// Where nothing is offered, the shell itself completes the names of files.
std::string ForPowerShell(const CLI::App& app) {
  std::string names;
  std::string options = fmt::format("    '' = {}\n", PowerShellList(OptionNames(Describe(app).options)));
  std::string choices;
  for (const Command& command : DescribeCommands(app)) {
    names += " " + command.name;
    if (!command.options.empty())
      options += fmt::format("    '{}' = {}\n", command.name, PowerShellList(OptionNames(command.options)));
    ForEachChoice(command, [&](const std::string& behind, const std::string& words) {
      choices += fmt::format("    '{} {}' = {}\n", command.name, behind, PowerShellList(words));
    });
  }
  return fmt::format(
      "Register-ArgumentCompleter -Native -CommandName 'pmstore', 'pmstore.exe' -ScriptBlock {{\n"
      "  param($word, $line, $position)\n"
      "  $options = @{{\n{1}  }}\n"
      "  $choices = @{{\n{2}  }}\n"
      "  $before = @($line.CommandElements | Select-Object -Skip 1 | ForEach-Object {{ \"$_\" }})\n"
      "  if ($word -ne '' -and $before.Count -gt 0) {{ $before = @($before | Select-Object -SkipLast 1) }}\n"
      "  $command = $before | Where-Object {{ $_ -notlike '-*' }} | Select-Object -First 1\n"
      "  $offered = if ($word -like '-*') {{ $options[\"$command\"] }}\n"
      "    elseif ($null -eq $command) {{ {0} }}\n"
      "    else {{ $choices[\"$command $($before[-1])\"] }}\n"
      "  $offered | Where-Object {{ $_ -like \"$word*\" }} | ForEach-Object {{\n"
      "    [System.Management.Automation.CompletionResult]::new($_, $_, 'ParameterValue', $_)\n"
      "  }}\n"
      "}}\n",
      PowerShellList(names), options, choices);
}

}  // namespace

void RegisterCompletion(Tool& tool) {
  CLI::App* command = tool.app->add_subcommand("completion", "Print a completion script for a shell");
  const auto shell = std::make_shared<std::string>();
  command->add_option("SHELL", *shell, "The shell")
      ->required()
      ->check(CLI::IsMember({"bash", "zsh", "fish", "powershell"}));
  command->callback([&tool, shell] {
    tool.chosen = [&tool, shell] {
      const std::string script = *shell == "bash"   ? ForBash(*tool.app)
                                 : *shell == "zsh"  ? ForZsh(*tool.app)
                                 : *shell == "fish" ? ForFish(*tool.app)
                                                    : ForPowerShell(*tool.app);
      tool.console.json ? tool.console.document({{"shell", *shell}, {"script", script}})
                        : Console::text(script);
      return ExitCode::kFine;
    };
  });
}

}  // namespace cli

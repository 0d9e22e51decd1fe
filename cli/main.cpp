// pmstore: looks into vaults, fills and empties them, and gets people out of trouble.
#include <algorithm>
#include <cstdio>
#include <new>
#include <sstream>

#include "cli/command.h"
#include "cli/host.h"

namespace {

using cli::ExitCode;
using cli::Failure;

constexpr char kFooter[] =
    "Exit codes: 0 fine, 1 problems or differences found, 2 usage, 3 no such vault, item or file, "
    "4 input or output failed, 5 refused: the vault is damaged or in use.";

// The first word, when it names no command; the words come last one first.
std::string FindWrongCommand(const CLI::App& app, const std::vector<std::string>& words) {
  const auto first =
      std::find_if(words.rbegin(), words.rend(), [](const std::string& word) { return word[0] != '-'; });
  const auto isNamed = [&](const CLI::App* command) { return command->get_name() == *first; };
  return first == words.rend() || !app.get_subcommands(isNamed).empty() ? "" : *first;
}

// What the parser has to say for itself: a help text, or the version.
void PrintHelp(const CLI::App& app, const CLI::Success& help) {
  std::ostringstream text;
  app.exit(help, text, text);
  cli::Console::text(cli::WrappedHelp(text.str(), static_cast<size_t>(cli::TerminalWidth())));
}

Failure UsageFailure(const CLI::App& app, const CLI::ParseError& error, const std::string& wrongCommand) {
  const std::vector<const CLI::App*> chosen =
      app.get_subcommands([](const CLI::App* command) { return command->parsed(); });
  std::string what = error.what();
  if (!wrongCommand.empty()) {
    what = fmt::format("there is no command {}", wrongCommand);
  } else if (chosen.empty() && error.get_name() == "RequiredError") {
    what = "name a command";
  } else if (error.get_name() == "ConversionError") {
    what += fmt::format(", which is no number from 0 to {}", UINT32_MAX);
  }
  return {ExitCode::kUsage, what,
          chosen.empty() ? R"("pmstore --help" lists the commands.)"
                         : fmt::format("\"pmstore {} --help\" says more.", chosen[0]->get_name())};
}

int Run(std::vector<std::string> arguments) {
  CLI::App app("Looks into vaults, fills and empties them, and repairs what can be repaired.", "pmstore");
  cli::Tool tool{&app, {}, {}};
  app.add_flag("--json", tool.console.json, "Write JSON instead of text");
  app.add_flag("--quiet,-q", tool.console.quiet, "Say nothing but results, warnings and errors");
  app.add_flag("--no-progress", tool.console.noProgress, "Draw no progress bar");
  app.allow_windows_style_options(false);  // "/folder/file" is a path everywhere
  app.require_subcommand(1);
  app.fallthrough();
  app.footer(kFooter);
  cli::RegisterCommands(tool);

  const std::string wrongCommand = FindWrongCommand(app, arguments);
  tool.console.json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
  try {
    ExitCode code = ExitCode::kFine;
    try {
      app.parse(std::move(arguments));
      code = tool.chosen();
    } catch (const CLI::Success& help) {
      PrintHelp(app, help);
    } catch (const CLI::ParseError& error) {
      throw UsageFailure(app, error, wrongCommand);
    }
    cli::Console::flush();
    return static_cast<int>(code);
  } catch (const Failure& failure) {
    tool.console.report(failure);
    return static_cast<int>(failure.code);
  } catch (const std::bad_alloc&) {
    tool.console.report(Failure(ExitCode::kIoError, "not enough memory"));
  } catch (const std::exception& error) {
    tool.console.report(Failure(ExitCode::kIoError, error.what()));
  }
  return static_cast<int>(ExitCode::kIoError);
}

#if defined(_WIN32)
std::string ToWord(const wchar_t* word) {
  return cli::ToUtf8(word);
}
#else
std::string ToWord(const char* word) {
  return word;
}
#endif

// The arguments go to the parser last one first.
template <typename Char>
int RunCommandLine(int count, Char** words) {
  try {
    cli::PrepareStreams();
    std::vector<std::string> arguments;
    for (int i = count - 1; i > 0; --i) arguments.push_back(ToWord(words[i]));
    return Run(std::move(arguments));
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "pmstore: %s\n", error.what()));
    return static_cast<int>(ExitCode::kIoError);
  }
}

}  // namespace

#if defined(_WIN32)
int wmain(int count, wchar_t** words) {
  return RunCommandLine(count, words);
}
#else
int main(int count, char** words) {
  return RunCommandLine(count, words);
}
#endif

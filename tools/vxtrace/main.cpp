// vxtrace: reads, filters, summarises, converts and writes trace files. This file holds the verb
// table and the dispatch; each verb lives in verbs/<verb>.cpp.
#include <sys/types.h>

#include <CLI/CLI.hpp>
#include <ctime>
#include <iostream>

#include "Cli.h"
#include "vxtrace/vxtrace.h"

static_assert(sizeof(off_t) == 8, "traces past 2 GiB need _FILE_OFFSET_BITS=64 on a 32-bit host");
static_assert(sizeof(time_t) == 8, "--from and --to past 2038 need _TIME_BITS=64 on a 32-bit host");

namespace vxtrace::cli {

Runner attachDump(CLI::App&);
Runner attachStats(CLI::App&);
Runner attachInfo(CLI::App&);
Runner attachFilter(CLI::App&);
Runner attachMerge(CLI::App&);
Runner attachConvert(CLI::App&);
Runner attachRecover(CLI::App&);
Runner attachReport(CLI::App&);
Runner attachGen(CLI::App&);
Runner attachHelp(CLI::App&);

// The verbs, in the order help lists them.
const std::vector<Verb>& verbs() {
  static const std::vector<Verb> table = {
      {"dump", "Every record as one line of text", attachDump},
      {"stats", "Records per kind and channel, times, and what could not be read", attachStats},
      {"info", "An inventory of each file: framing, kinds, channels, times, losses, anomalies",
       attachInfo},
      {"filter", "The records that pass the filters, written as a trace", attachFilter},
      {"merge", "Traces merged by time stamp into one, channels offset for cascaded loggers",
       attachMerge},
      {"convert", "Records to a format other tools read (candump, pcapng, asc, blf, jsonl, csv)", attachConvert},
      {"recover", "Every recoverable record into a clean trace, with a loss report",
       attachRecover},
      {"report", "The trace as pictures: one self-contained HTML page", attachReport},
      {"gen", "Write a deterministic synthetic trace", attachGen},
      {"help", "Help on one verb: vxtrace help VERB", attachHelp},
  };
  return table;
}

namespace {

std::string verbNames() {
  std::string names;
  for (const Verb& v : verbs()) names += (names.empty() ? "" : ", ") + std::string(v.name);
  return names;
}

CLI::App* root = nullptr;

}  // namespace

// help: the verb list, or one verb's options and examples.
Runner attachHelp(CLI::App& cmd) {
  auto verb = std::make_shared<std::string>();
  cmd.add_option("verb", *verb, "The verb to explain");
  return [verb] {
    if (verb->empty()) {
      // The root's own help (help() would describe the verb being run, this one).
      std::cout << root->get_formatter()->make_help(root, "vxtrace", CLI::AppFormatMode::Normal);
      return kExitOk;
    }
    for (CLI::App* sub : root->get_subcommands({}))
      if (sub->get_name() == *verb) {
        std::cout << sub->help();
        return kExitOk;
      }
    throw Failure{"no verb " + inQuotes(*verb) + " (" + verbNames() + ")"};
  };
}

}  // namespace vxtrace::cli

int main(int argc, char** argv) {
  using namespace vxtrace::cli;
  std::ios::sync_with_stdio(false);
  MessageBase::registerMessages();

  CLI::App app{"Reads, filters, summarises, converts and writes vxtrace trace files."};
  app.name("vxtrace");
  app.require_subcommand(1);
  app.set_version_flag("--version", "vxtrace " VXTRACE_VERSION);
  root = &app;
  std::vector<std::pair<CLI::App*, Runner>> commands;
  for (const Verb& v : verbs()) {
    CLI::App* cmd = app.add_subcommand(v.name, v.summary);
    commands.emplace_back(cmd, v.attach(*cmd));
  }

  bool known = argc < 2 || argv[1][0] == '-';
  for (const Verb& v : verbs()) known |= !known && std::string(v.name) == argv[1];
  if (!known) {
    std::cerr << "vxtrace: unknown verb " << inQuotes(argv[1]) << " (" << verbNames() << ")"
              << std::endl;
    return kExitFailure;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return app.exit(e);
    std::string text = e.what();
    for (char& c : text)
      if (c == '\n') c = ' ';
    std::cerr << "vxtrace: " << text << " (see vxtrace --help)" << std::endl;
    return kExitFailure;
  }

  try {
    for (auto& [cmd, runner] : commands)
      if (*cmd) return runner();
  } catch (const Failure& f) {
    std::cerr << "vxtrace: " << f.message << std::endl;
    return kExitFailure;
  } catch (const std::exception& e) {
    std::cerr << "vxtrace: " << e.what() << std::endl;
    return kExitFailure;
  }
  return kExitFailure;
}

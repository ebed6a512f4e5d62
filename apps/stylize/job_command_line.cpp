// The options of the commands for jobs.
#include "command_line.h"
#include "help_texts.h"
#include "parser.h"

namespace vorin::stylize {

void Parser::addJob() {
  job = app.add_subcommand(
      "job",
      wrapped("Long work in units, for several processes or machines, or to go on after an end: plan, work, status, join"));
  job->set_help_flag("-h,--help", "Print this help");
  job->require_subcommand(1);
  job->footer(kJobFooter);
  CLI::App* plan = job->add_subcommand("plan", wrapped("Look through the inputs, cut them into units, and write DIR/job.json"));
  plan->add_option("input", typed.inputs, "Images, clips, folders of them")->option_text("FILE");
  addResult(*plan);
  text(*plan, "--job", typed.job, "DIR", "The folder of the job, made if needed", kManySection)->required();
  plan->add_option("--unit-length", typed.unit_length_s, "Length of a unit of a clip in seconds (default: 20)")
      ->type_name("S")
      ->group(kManySection)
      ->check(CLI::Range(0.05, 3600.0).description(""));
  plan->add_option("--unit-images", typed.unit_images, "Images in a unit (default: 50)")
      ->type_name("N")
      ->group(kManySection)
      ->check(CLI::Range(1, 9999).description(""));
  addRestyling(*plan, false);
  CLI::App* work = addJobCommand("work", "Do the units that are open");
  CLI::Option* unit = text(*work, "--unit", typed.unit, "ID",
                           "Do this unit only, for a scheduler of your own; -: the units whose ids come on standard input, one "
                           "a line, each answered with a line of JSON",
                           kManySection);
  work->add_option("--workers", typed.workers, wrapped("Processes, which share this machine's processors (default: 1)"))
      ->type_name("N")
      ->group(kManySection)
      ->check(CLI::Range(1, 256).description(""))
      ->excludes(unit);
  flag(*work, "--skip-failed", typed.skip_failed,
       "Leave units alone that have failed three times, as --unit does, rather than try them again", kManySection);
  addModels(*work);
  addProgress(*work);
  addOther(*work, true);
  CLI::App* status = addJobCommand("status", "Print where the job stands");
  flag(*status, "--open", typed.open_units, "Print only the ids of the units that are not done, one a line", kOtherSection);
  addOther(*status, false);
  CLI::App* join = addJobCommand("join", "Check all units and write the outputs");
  addProgress(*join);
  addOther(*join, true);
}

CLI::App* Parser::addJobCommand(const char* name, const char* description) {
  CLI::App* command = job->add_subcommand(name, description);
  command->add_option("job", typed.job, "The folder of the job")->option_text("DIR")->required();
  return command;
}

} // namespace vorin::stylize

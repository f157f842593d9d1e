// orv: libOrv on the command line.
#include <fcntl.h>
#include <getopt.h>
#include <signal.h>
#include <unistd.h>
#include <cstdio>
#include <cstring>
#include <exception>
#include "commands.h"

namespace {

constexpr char kHelp[] =
    "usage: orv COMMAND [ARGUMENT]...\n"
    "       orv COMMAND --help          more about a command, with examples\n"
    "       orv --help, orv --version\n"
    "\n"
    "Look:\n"
    "  orv compare A B             how far two pictures lie apart\n"
    "  orv sheet IN OUT            every way to resize a picture, side by side\n"
    "Change:\n"
    "  orv resize IN OUT SIZE      make a picture smaller or larger, or crop it\n"
    "  orv thumb FOLDER OUTFOLDER  make thumbnails of all photos in a folder\n"
    "  orv filter ...              smooth a picture with a box filter\n"
    "  orv swap ...                reorder the channels of a picture\n"
    "Convert:\n"
    "  orv decode IN.jpg OUT.ppm   decode a JPEG\n"
    "  orv encode IN OUT.jpg       encode a picture as JPEG\n"
    "  orv convert ...             to raw samples of another colour format, or back\n"
    "Check:\n"
    "  orv info                    what the library finds on this machine\n"
    "  orv verify                  whether this machine computes what it should\n"
    "\n"
    "The exit status is 0 when all went well, 1 when there is no result or pictures\n"
    "or results differ, and 2 when the command line makes no sense or a JPEG is cut\n"
    "short or damaged. man orv has the details.\n";

// Of standard input, output and error one that is closed would become the first file that is opened, and get what is
// printed. What is read or written there fails, as it would have; messages are lost.
void openStandardFiles() {
  for (const int file : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (fcntl(file, F_GETFD) < 0) open("/dev/null", file == STDERR_FILENO ? O_WRONLY : O_RDONLY);
}

int run(int argc, char** argv) {
  if (argc < 2) throw UsageError("no command given (see orv --help)");
  const std::string command = argv[1];
  if (command == "--help" || command == "-h") return fputs(kHelp, stdout), 0;
  if (command == "--version") return puts("orv " ORV_VERSION), 0;
  if (command == "info") return runInfo(argc - 1, argv + 1);
  if (command == "decode") return runDecode(argc - 1, argv + 1);
  if (command == "encode") return runEncode(argc - 1, argv + 1);
  if (command == "compare") return runCompare(argc - 1, argv + 1);
  if (command == "convert") return runConvert(argc - 1, argv + 1);
  if (command == "filter") return runFilter(argc - 1, argv + 1);
  if (command == "swap") return runSwap(argc - 1, argv + 1);
  if (command == "resize") return runResize(argc - 1, argv + 1);
  if (command == "sheet") return runSheet(argc - 1, argv + 1);
  if (command == "thumb") return runThumb(argc - 1, argv + 1);
  if (command == "verify") return runVerify(argc - 1, argv + 1);
  throw UsageError("unknown command '" + command + "' (see orv --help)");
}

int failure = kFailed;  // the exit status where there is no result

// Exceptions need memory, too: where there is none, not even what is set aside for them at the start, the program ends
// here, before there is an exception.
std::terminate_handler usualEnd;
[[noreturn]] void endWithoutMemory() {
  if (std::current_exception()) usualEnd();
  complain(kNoMemory);
  _exit(failure);
}

}  // namespace

int main(int argc, char** argv) {
  openStandardFiles();
  usualEnd = std::set_terminate(endWithoutMemory);
  // A file that becomes too large, and a pipe that nobody reads any more, are errors like others.
  signal(SIGXFSZ, SIG_IGN);
  signal(SIGPIPE, SIG_IGN);
  if (argc > 1 && strcmp(argv[1], "compare") == 0) failure = 2;
  try {
    const int status = run(argc, argv);
    if (fflush(stdout) != 0 || ferror(stdout)) throw std::runtime_error("cannot write to standard output");
    return status;
  } catch (const UsageError& e) {
    complain(e.what());
    return 2;
  } catch (const std::bad_alloc&) {
    complain(kNoMemory);
  } catch (const std::exception& e) {
    complain(e.what());
  }
  return failure;
}

// read_step FILE
//
// Reads and transfers a STEP file by Open CASCADE, by the very calls of qlinks-step-reader, and prints the seconds that
// this took. What the import does besides is not done: starting programs, taking the structure out of Open CASCADE's
// document, handing it over and making a document of it.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <unistd.h>

#include <Standard_Failure.hxx>

#include "host/step/reader/AnswerWriter.h"
#include "host/step/reader/StepDocument.h"

int main(int count, char** arguments) {
  if (count != 2) {
    std::fputs("usage: read_step FILE\n", stderr);
    return 2;
  }
  try {
    host::AnswerWriter nobody(open("/dev/null", O_WRONLY | O_CLOEXEC));
    const auto begin = std::chrono::steady_clock::now();
    const host::StepDocument document(arguments[1], "", nobody);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    std::printf("%.3f\n", seconds.count());
    std::fflush(stdout);
    _exit(EXIT_SUCCESS);
  } catch (const Standard_Failure& error) {
    std::fprintf(stderr, "read_step: %s\n", error.GetMessageString());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "read_step: %s\n", error.what());
  }
  return EXIT_FAILURE;
}

// qlinks-step-reader DESCRIPTOR CODEPAGE FILE
//
// Reads FILE and writes its product structure, line by line, to the open DESCRIPTOR (1 is standard output). CODEPAGE
// may be empty. How much memory and time it takes is for the import to watch.

#include <charconv>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <Standard_Failure.hxx>
#include <fmt/format.h>

#include "host/step/StepTexts.h"
#include "host/step/reader/AnswerWriter.h"
#include "host/step/reader/AssemblyBuilder.h"
#include "host/step/reader/StepDocument.h"

namespace {

bool ParseDescriptor(const char* text, int& descriptor) {
  const char* end = text + std::strlen(text);
  const auto [stop, error] = std::from_chars(text, end, descriptor);
  return error == std::errc() && stop == end && descriptor >= 0;
}

// Nobody waits for the answer once the import is gone, and the image of a reader that died of a damaged file is of
// no use to anybody.
void PrepareToDie() {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  const rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
}

int Read(host::AnswerWriter& answer, const char* codePage, const char* file) {
  try {
    const host::StepDocument document(file, codePage, answer);
    answer.Assembly(host::BuildAssembly(document, answer));
    return EXIT_SUCCESS;
  } catch (const host::StepError& error) {
    answer.Error(error.what());
  } catch (const Standard_Failure& error) {
    answer.Error(host::CleanStepText(fmt::format("cannot be read, {} ({}); export it again",
                                                 error.DynamicType()->Name(), error.GetMessageString())));
  } catch (const std::exception& error) {
    answer.Error(host::CleanStepText(fmt::format("cannot be read, {}; export it again", error.what())));
  }
  return EXIT_FAILURE;
}

}  // namespace

int main(int count, char** arguments) {
  int descriptor = -1;
  if (count != 4 || !ParseDescriptor(arguments[1], descriptor)) {
    // Where this cannot be written, nobody is left to tell.
    static_cast<void>(
        std::fputs("qlinks-step-reader: started without DESCRIPTOR CODEPAGE FILE; use qlinks import\n", stderr));
    return EXIT_FAILURE;
  }
  PrepareToDie();
  host::AnswerWriter answer(descriptor);
  const int status = Read(answer, arguments[2], arguments[3]);
  // Everything is said; taking the library down would cost as much as putting it up.
  _exit(status);
}

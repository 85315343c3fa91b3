#include "host/step/reader/Messages.h"

#include <Message.hxx>
#include <Message_Messenger.hxx>
#include <TCollection_AsciiString.hxx>

#include "host/step/StepTexts.h"

namespace host {

Handle(MessageCollector) MessageCollector::Install() {
  const Handle(Message_Messenger)& messenger = Message::DefaultMessenger();
  messenger->RemovePrinters(STANDARD_TYPE(Message_Printer));
  Handle(MessageCollector) collector = new MessageCollector;
  messenger->AddPrinter(collector);
  return collector;
}

void MessageCollector::send(const TCollection_AsciiString& message, const Message_Gravity gravity) const {
  if (gravity >= Message_Fail && firstFailure.empty()) {
    firstFailure = CleanStepText({message.ToCString(), static_cast<std::size_t>(message.Length())});
  }
}

}  // namespace host

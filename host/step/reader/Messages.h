// What Open CASCADE has to say while it works.

#pragma once

#include <string>

#include <Message_Printer.hxx>

namespace host {

/// Takes the place of the printer that writes to standard output, and keeps the first failure.
class MessageCollector : public Message_Printer {
 public:
  /// Removes all printers of the default messenger and puts a new collector there.
  static Handle(MessageCollector) Install();

  /// Clean and on one line; empty when there was none.
  const std::string& FirstFailure() const { return firstFailure; }

 protected:
  void send(const TCollection_AsciiString& message, const Message_Gravity gravity) const override;

 private:
  // The base class says const and means a log.
  mutable std::string firstFailure;
};

}  // namespace host

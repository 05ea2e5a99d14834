#pragma once
#include <ostream>
#include <string>

#include "vxtrace/SystemMessage.h"

// A routing failure report (type 112, "ROUTING_ERROR"). The text reads "destination;source":
// the part before the first ';' is the destination, the rest the source; a text without ';' is
// all destination, with an empty source. Printed as "destination: <d>, source: <s>".
class VXTRACE_API SystemRoutingErrorMessage : public SystemMessage {
 public:
  std::string destination;
  std::string source;

  // Both fields are read from text.
  SystemRoutingErrorMessage(unsigned long long ts, const std::string& text);

  MessageBase* clone() const override;
};

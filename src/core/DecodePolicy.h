#pragma once
// A decode policy for the calling thread only, so that a reader decides for itself what the
// process-wide MessageBase::invalidHandling and registry decide for everyone else.
#include "vxtrace/MessageBase.h"

namespace vxtrace::detail {

struct DecodePolicy {
  bool invalidRecords = false;  // undecodable frames become InvalidMessage
  bool diagnostics = false;     // KWP2000 and UDS records are decoded
};

// While alive, the calling thread decodes under policy (which must outlive the scope).
// Scopes nest.
class DecodePolicyScope {
 public:
  explicit DecodePolicyScope(const DecodePolicy& policy);
  ~DecodePolicyScope();
  DecodePolicyScope(const DecodePolicyScope&) = delete;
  DecodePolicyScope& operator=(const DecodePolicyScope&) = delete;

 private:
  const DecodePolicy* previous_;
};

// MessageBase::invalidHandling, or under a policy 1 when it asks for invalid records, else 0.
int invalidHandling();

// The creator of id, or null. Without a policy: the registry's. Under a policy: for KWP2000 and
// UDS the library's own exactly when the policy asks for them; for every other identifier the
// registry's, else the library's own.
MessageBase::creator_t findCreator(msgid_t id);
// Both answers at once, for the decoder of every frame (one look at the thread's policy).
MessageBase::creator_t findCreator(msgid_t id, int& handling);

}  // namespace vxtrace::detail

#pragma once
// Everything of the library's programming interface.
#include "vxtrace/BusId.h"
#include "vxtrace/Exceptions.h"
#include "vxtrace/Export.h"
#include "vxtrace/InvalidMessage.h"
#include "vxtrace/MessageBase.h"
#include "vxtrace/MessageIds.h"
#include "vxtrace/PlatformUtil.h"
#include "vxtrace/SimpleMessage.h"
#include "vxtrace/StringMessageBase.h"

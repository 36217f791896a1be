#include "platform/replaceable.h"

namespace tervalon::platform {

constinit Mutex making_service;

}  // namespace tervalon::platform

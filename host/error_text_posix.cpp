#include "host/error_text.h"

namespace varnel::host {

std::string ErrorText(const std::error_code& error) {
  return error.message();
}

}  // namespace varnel::host

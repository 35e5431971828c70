#include "platform/embedded/crashdump/kernel_image.h"

namespace varnel::embedded {

// Made at build time.
extern const unsigned char kKernelImage[];
extern const unsigned long kKernelImageSize;

std::span<const std::uint8_t> KernelImageFile() {
  return {kKernelImage, kKernelImageSize};
}

}  // namespace varnel::embedded

#include "filter/vcam_stream.h"

// Not joined to the frame region yet: the sample leaves as the allocator gave it.
void CVCamStream::FillBufferVideoMemoryOutput(IMediaSample*) {}

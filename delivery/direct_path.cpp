#include "filter/vcam_stream.h"

// Not joined to the texture reader yet: the client is not called and the sample is left alone.
void CVCamStream::FillBufferVideoDirectOutput() {}

/* The host interface must compile as plain C. */
#include "QCP_API.h"

size_t qcp_c_video_buffer_size(void) { return sizeof(QCP_VideoBuffer); }
size_t qcp_c_audio_buffer_size(void) { return sizeof(QCP_AudioBuffer); }

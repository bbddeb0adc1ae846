#include "server/source_plain.h"

#include "server/stream.h"

void CSourcePlain::OnFrame(const char* data, int length) { m_stream.OnSourceFrame(data, length); }

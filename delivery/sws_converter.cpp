#include "delivery/sws_converter.h"

#include "delivery/sws_library_table.h"

SwsConverter::SwsConverter() : m_libraries(SwscaleLibraryTable::instance()) {
  if (!m_libraries.avcodecAllocFrame) return;
  m_pSourceFrame = m_libraries.avcodecAllocFrame();
  m_pTargetFrame = m_libraries.avcodecAllocFrame();
}

SwsConverter::~SwsConverter() {
  if (!m_libraries.avFree) return;
  m_libraries.avFree(m_pTargetFrame);
  m_libraries.avFree(m_pSourceFrame);
}

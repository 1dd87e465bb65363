#ifndef SERVICE_PAGE_TEXT_H
#define SERVICE_PAGE_TEXT_H

namespace service {

/// The text of page.html.
extern const char* const pageText;

}  // namespace service

#endif

#ifndef SEND_PAGE_H
#define SEND_PAGE_H

namespace send {

/// The text of page.html, with a placeholder for the report.
extern const char* const pageTemplate;

}  // namespace send

#endif

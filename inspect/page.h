#ifndef INSPECT_PAGE_H
#define INSPECT_PAGE_H

namespace inspect {

/// The text of page.html, with a placeholder for the messages.
extern const char* const pageTemplate;
/// That of calls.html.
extern const char* const callsTemplate;

}  // namespace inspect

#endif

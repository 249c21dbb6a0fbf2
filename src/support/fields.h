// Splits a text into fields.
#ifndef ROQ_SUPPORT_FIELDS_H
#define ROQ_SUPPORT_FIELDS_H

namespace roq {

// The fields of a text in place, as strtok_r takes them with one separator: empty fields are skipped, and a field is
// terminated where its separator was.
class FieldSplitter {
public:
  FieldSplitter(char* text, char separator) : rest_(text), separator_(separator) {}

  // The next field, null when there is none left.
  char* next() {
    while (*rest_ == separator_)
      ++rest_;
    if (*rest_ == '\0') return nullptr;
    char* field = rest_;
    while (*rest_ != '\0' && *rest_ != separator_)
      ++rest_;
    if (*rest_ != '\0') *rest_++ = '\0';
    return field;
  }

private:
  char* rest_;
  char separator_;
};

} // namespace roq

#endif

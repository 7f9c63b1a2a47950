// The token reader of slide-show scripts.
//
// Separators are space, NUL, line feed and carriage return; a tab is not a
// separator but part of a token. ";" ends the token being read (and is
// skipped between tokens). "/* ... */" and "// ..." comments end a token they
// touch. A token beginning with one double quote runs across separators up to
// a part ending in a double quote, and its value is the text between the
// quotes; a token beginning with two double quotes is taken literally.
//
// Every read reports how the token ended: open at a separator or a comment,
// closed at ";" or at the end of the text. Statements are built on that.
#pragma once
#include <cstddef>
#include <string>

class SlideShowScript {
public:
    SlideShowScript(const char* text, size_t size) : text_(text), size_(size) {}

    // Reads the next token; false at the end of the text (then `closed` is
    // true as well).
    bool Next(std::string* token, bool* closed);

    size_t Position() const { return position_; }
    void Seek(size_t position) { position_ = position; }

private:
    bool AtEnd() const { return position_ >= size_; }
    char At(size_t i) const { return i < size_ ? text_[i] : '\0'; }
    bool CommentStartsAt(size_t i) const {
        return At(i) == '/' && (At(i + 1) == '*' || At(i + 1) == '/') && i + 1 < size_;
    }
    void SkipComment();

    const char* text_;
    size_t size_;
    size_t position_ = 0;
};

bool IsSlideShowSeparator(char c);

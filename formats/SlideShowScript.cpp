#include "formats/SlideShowScript.h"

bool IsSlideShowSeparator(char c) { return c == ' ' || c == '\0' || c == '\n' || c == '\r'; }

void SlideShowScript::SkipComment() {
    if (At(position_ + 1) == '*') {
        position_ += 2;
        while (!AtEnd() &&
               !(At(position_) == '*' && At(position_ + 1) == '/' && position_ + 1 < size_))
            ++position_;
        position_ = AtEnd() ? size_ : position_ + 2;
    } else {
        while (!AtEnd() && At(position_) != '\n' && At(position_) != '\r') ++position_;
    }
}

bool SlideShowScript::Next(std::string* token, bool* closed) {
    token->clear();
    // Between tokens separators, ";" and comments are skipped.
    for (;;) {
        if (AtEnd()) {
            *closed = true;
            return false;
        }
        const char c = At(position_);
        if (IsSlideShowSeparator(c) || c == ';')
            ++position_;
        else if (CommentStartsAt(position_))
            SkipComment();
        else
            break;
    }

    // One part: characters up to a separator, ";", a comment or the end.
    // Returns how the part ended: 's' separator, ';', 'c' comment, 'e' end.
    auto readPart = [this](std::string* part) {
        for (;;) {
            if (AtEnd()) return 'e';
            const char c = At(position_);
            if (IsSlideShowSeparator(c)) return 's';
            if (c == ';') return ';';
            if (CommentStartsAt(position_)) return 'c';
            part->push_back(c);
            ++position_;
        }
    };

    std::string part;
    char ending = readPart(&part);
    const bool quoted = part.size() >= 1 && part[0] == '"' && !(part.size() >= 2 && part[1] == '"');
    if (!quoted) {
        *token = part;
    } else if (part.size() == 1) {
        // A lone double quote: an empty token.
    } else {
        std::string value = part.substr(1);
        bool done = part.back() == '"';
        while (!done && ending == 's') {
            value.push_back(At(position_));  // separators inside quotes are kept
            ++position_;
            std::string more;
            ending = readPart(&more);
            value += more;
            done = !more.empty() && more.back() == '"';
        }
        if (done) value.pop_back();  // the closing quote
        *token = value;
    }

    switch (ending) {
        case ';':
            ++position_;
            *closed = true;
            break;
        case 'e':
            *closed = true;
            break;
        default:  // a separator or a comment
            *closed = false;
            break;
    }
    return true;
}

#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

/// What the records of a run say.
struct Report
{
    /// Handles that are no leak: the event that the counting waits with, and one that the system makes in some
    /// processes before the first count, in some behind it, and never twice. What the component opens is counted by
    /// itself.
    static constexpr unsigned kHandlesOnce = 2;

    struct Function
    {
        std::map<std::string, unsigned> calls; ///< in one session of each script
        unsigned reported = 0;
        unsigned unnoticed = 0;
        unsigned wrong = 0; ///< neither: the session itself shows a defect
        unsigned defects = 0;
        unsigned longestMs = 0;
        std::set<std::string> places;
    };

    /// A call that nobody has noticed.
    struct Unnoticed
    {
        std::string script;
        std::string function;
        std::string number;
        std::string step;
        std::string places; ///< offsets into the component, separated by blanks
    };

    std::map<std::string, Function> functions;
    std::vector<Unnoticed> unnoticed;
    std::vector<std::string> defects; ///< each a text of several lines
    bool isFinished = false;          ///< what has been started last

    /// What has begun without an end, if anything.
    struct Begun
    {
        std::string script;
        std::string function;
        std::string number;
    };
    Begun begun;

    /// Takes one line of the results file.
    void Add(const std::string& record);

    /// It ought to have been noticed, for the reason in the text.
    void AddDefect(const Unnoticed& call, const std::string& text);

    /// Of which a call was let fail and its session has ended.
    std::set<std::string> NamesThatFailed() const;
    /// A line for each function, and the sums.
    std::string Table() const;
};

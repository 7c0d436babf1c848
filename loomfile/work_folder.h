// A folder of a file's own for what other programs unpack or draw, and for names that loaders insist on: it is made
// when it is needed, meets nobody else's files, and nothing of it stays behind.
#pragma once

#include <string>

class WorkFolder
{
public:
    WorkFolder() = default;
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    ~WorkFolder();

    // Makes it in a folder, unless it is there. Throws Refusal.
    void make(const std::string& place);
    bool isMade() const { return !path.empty(); }

    // What programs may fill. Both are absolute and begin without a dash.
    std::string files() const { return path + "/files"; }
    std::string name(const std::string& member) const { return path + "/" + member; }
    bool has(const std::string& member) const;
    // The beginning of a member, and its first line without blanks at the end; "" when there is none.
    std::string contentsOf(const std::string& member) const;
    std::string lineOf(const std::string& member) const;
    void removeMember(const std::string& member) const;
    // A name in it that stands for another file, which need not be absolute.
    std::string link(const std::string& target, const std::string& name);

private:
    std::string path;
    int slot = -1;
};

// Nothing but system calls: removes all that are made.
void removeAllWorkFolders();

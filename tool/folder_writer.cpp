#include "tool/folder_writer.h"

#include "tool/messages.h"
#include "tool/terminal.h"

#include <map>
#include <set>

namespace zuk::tool {

// One run of `write_folder`.
struct Writing {
    const Dictionary &dictionary;
    const FolderPlan &plan;
    std::map<std::string, PathKind> standing = {};  // what stands in the folder, by name
    std::set<std::string> needed = {};              // the directories of the planned files
    std::vector<bool> same = {};                    // for each planned file, that it stands there as it has to be
    FolderReport report = {};
};

static std::string shown_path(const Writing &writing, const std::string &name)
{
    return writing.plan.shown + "/" + name;
}

// The directories above a name, outermost first.
static std::vector<std::string> directories_of(const std::string &name)
{
    std::vector<std::string> directories;
    for (size_t slash = name.find('/'); slash != std::string::npos; slash = name.find('/', slash + 1)) {
        directories.push_back(name.substr(0, slash));
    }
    return directories;
}

static void survey(Writing *writing)
{
    const FolderPlan &plan = writing->plan;
    std::error_code ignored;
    if (fs::exists(plan.directory, ignored) && !fs::is_directory(plan.directory, ignored)) {
        fail(EXIT_TROUBLE, plan.shown, "it is no folder");
    }
    std::set<std::string> planned;
    for (const PlannedFile &file : plan.files) {
        planned.insert(file.name);
        for (const std::string &directory : directories_of(file.name)) writing->needed.insert(directory);
    }
    if (!fs::exists(plan.directory, ignored)) return;

    for (const TreeEntry &entry : list_tree(plan.directory, plan.shown)) {
        writing->standing[entry.name] = entry.kind;
        bool is_planned = entry.kind == PathKind::directory ? writing->needed.count(entry.name) != 0
                                                            : planned.count(entry.name) != 0;
        bool ours = plan.is_ours(entry);
        if (ours && !is_planned) writing->report.removed.push_back(entry.name);
        if (ours || is_planned || plan.force) continue;
        fail(EXIT_REFUSED, shown_path(*writing, entry.name),
             "it is no part of this export; --force leaves it there and writes beside it");
    }
}

// A file is never written through a link, nor where a directory stands.
static void test_ways(const Writing &writing)
{
    for (const std::string &directory : writing.needed) {
        auto found = writing.standing.find(directory);
        if (found == writing.standing.end() || found->second == PathKind::directory) continue;
        fail(EXIT_REFUSED, shown_path(writing, directory), "it stands where a folder has to be");
    }
    for (const PlannedFile &file : writing.plan.files) {
        auto found = writing.standing.find(file.name);
        if (found == writing.standing.end() || found->second == PathKind::file) continue;
        fail(EXIT_REFUSED, shown_path(writing, file.name), "it stands where a file has to be");
    }
}

// What a planned file has to hold; `body` keeps the bytes.
static std::string_view content_of(const Writing &writing, const PlannedFile &file, Handle *body)
{
    if (file.body.levels != 4) return file.text;
    *body = read_body(writing.dictionary, file.body);
    return body->bytes();
}

static void compare(Writing *writing)
{
    const FolderPlan &plan = writing->plan;
    Progress progress("comparing", plan.files.size());
    for (const PlannedFile &file : plan.files) {
        bool stands = writing->standing.count(file.name) != 0;
        bool same = false;
        if (stands) {
            Handle body;
            std::string_view content = content_of(*writing, file, &body);
            same = file_equals(plan.directory / file.name, content.data(), content.size());
            if (!same && !plan.force && !plan.is_ours({ file.name, PathKind::file })) {
                fail(EXIT_REFUSED, shown_path(*writing, file.name), "it differs from the export; --force replaces it");
            }
        }
        writing->same.push_back(same);
        if (same) writing->report.unchanged++;
        else (stands ? writing->report.rewritten : writing->report.written).push_back(file.name);
        progress.step();
    }
}

static void write_files(const Writing &writing)
{
    const FolderPlan &plan = writing.plan;
    make_directories(plan.directory, plan.shown);
    std::set<std::string> made;
    Progress progress("writing", plan.files.size());
    for (size_t i = 0; i < plan.files.size(); i++) {
        const PlannedFile &file = plan.files[i];
        progress.step();
        if (writing.same[i]) continue;
        std::vector<std::string> directories = directories_of(file.name);
        if (!directories.empty() && made.insert(directories.back()).second) {
            make_directories(plan.directory / directories.back(), shown_path(writing, directories.back()));
        }
        Handle body;
        std::string_view content = content_of(writing, file, &body);
        write_file(plan.directory / file.name, shown_path(writing, file.name), content.data(), content.size());
    }
}

// Files first, then the directories that they leave empty, innermost first.
static void remove_stale(const Writing &writing)
{
    const std::vector<std::string> &names = writing.report.removed;
    for (auto name = names.rbegin(); name != names.rend(); ++name) {
        std::error_code error;
        fs::remove(writing.plan.directory / *name, error);
        // A directory stays when something foreign stands in it.
        if (!error || writing.standing.at(*name) == PathKind::directory) continue;
        fail(EXIT_TROUBLE, shown_path(writing, *name), "it cannot be removed: " + error.message());
    }
}

FolderReport write_folder(const Dictionary &dictionary, const FolderPlan &plan)
{
    Writing writing = { .dictionary = dictionary, .plan = plan };
    survey(&writing);
    test_ways(writing);
    compare(&writing);
    if (!plan.dry_run) {
        write_files(writing);
        remove_stale(writing);
    }
    return std::move(writing.report);
}

} // namespace zuk::tool

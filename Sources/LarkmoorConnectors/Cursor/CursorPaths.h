// The paths of Cursor's files that we read or edit, of its application, and of our executables.
#pragma once

#include <string>

namespace larkmoor {

/// All absolute.
struct CursorPaths {
    std::string configDirectory;
    std::string hooksFile;
    std::string mcpFile;
    std::string receiptFile;
    std::string workspaceStorageDirectory;
    std::string claudeSettingsFile;  ///< Claude Code's, whose hooks Cursor runs too; only read
    std::string cursorApp;
    std::string hookBinary;
    std::string mcpBinary;

    /// `applications` is the folder that contains Cursor.app.
    static CursorPaths under(const std::string& home, const std::string& bundle, const std::string& applications);
    /// The same for a Cursor application at any path.
    static CursorPaths withApp(const std::string& home, const std::string& bundle, std::string cursorApp);

    /// The command that runs before a prompt.
    std::string hookCommand() const;
    /// The command that runs before a tool.
    std::string preToolCommand() const;

    bool operator==(const CursorPaths&) const = default;
};

}  // namespace larkmoor

// SPDX-License-Identifier: MIT
// SPDX-FileCopyrightText: 2026 The ZYR developers
//
// The programs the open tests install: the desktop's editor of text files
// ("<control dir> <file>"; it does what <control dir>/mode says and logs each
// file in <control dir>/opened.log), and, built with RECORD_ARGUMENTS, the
// CAD viewer, which writes its arguments one a line to "<its path>.args".
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <unistd.h>

int main(int argc, char** argv)
{
#ifdef RECORD_ARGUMENTS
    const std::string record = std::string(argv[0]) + ".args";
    std::ofstream out(record + ".part");
    for (int i = 1; i < argc; ++i)
        out << argv[i] << '\n';
    out.close();
    return std::rename((record + ".part").c_str(), record.c_str());
#else
    if (argc != 3)
        return 2;
    const std::string control = argv[1];
    const std::string file = argv[2];
    std::string mode;
    std::ifstream(control + "/mode") >> mode;
    // A later modification time than the one read before the start.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const std::string::size_type slash = file.rfind('/') + 1;
    if (mode == "lock") // an editor's lock file, left beside the file
        std::ofstream(file.substr(0, slash) + ".~lock." + file.substr(slash) + "#") << "user\n";
    if (mode == "hold" && fork() == 0) {
        // The started program ends at once; its child keeps the file open,
        // edits it and lets go when told to (or after a minute).
        close(STDOUT_FILENO);
        close(STDERR_FILENO);
        std::ofstream held(file, std::ios::app);
        held << "edited\n" << std::flush;
        for (int i = 0; i < 3000 && access((control + "/release").c_str(), F_OK) != 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return 0;
    }
    if (mode == "back") // a copy restored by the program: an earlier time
        std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) - std::chrono::hours(1));
    if (mode == "edit" || mode == "lock")
        std::ofstream(file, std::ios::app) << "edited\n";
    std::ofstream(control + "/opened.log", std::ios::app) << file << '\n';
    return 0;
#endif
}

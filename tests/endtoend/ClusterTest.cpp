// Runs that are divided into jobs of a cluster, whose commands are small scripts here.

#include "fixtures/FrameFiles.h"
#include "fixtures/Program.h"
#include "frame/FrameOutput.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

namespace fs = std::filesystem;

// Stand-ins for the scheduler's commands. sbatch keeps its arguments in a file and returns ids from 1; squeue
// and sacct print what files of the test hold.
class Cluster : public ::testing::Test {
protected:
    Cluster() {
        fs::create_directory(folder / "bin");
        addCommand("sbatch", "echo \"$@\" >>sbatch.log; echo \"$(wc -l <sbatch.log);alpha\"\n");
        addCommand("squeue", "cat queue; cat problem >&2; exit \"$(cat code)\"\n");
        addCommand("sacct", "cat accounts\n");
        answer("");
        writeFileText(folder / "accounts", "");
        std::vector<double> pixels(10 * 4);
        for (std::size_t i = 0; i < pixels.size(); ++i)
            pixels[i] = 100.0 + static_cast<double>(i);
        writeHdf5(input, ImageStack<double>{2, 2, pixels});
    }

    void addCommand(const std::string& name, const std::string& body) const {
        const std::string path = folder / ("bin/" + name);
        writeFileText(path, "#!/bin/sh\ncd " + folder.path.string() + "\n" + body);
        fs::permissions(path, fs::perms::owner_all);
    }

    // What squeue answers from now on.
    void answer(const std::string& queue, int code = 0, const std::string& problem = "") const {
        writeFileText(folder / "queue", queue);
        writeFileText(folder / "code", std::to_string(code));
        writeFileText(folder / "problem", problem);
    }

    ProgramResult cluster(std::vector<std::string> arguments, const std::string& searched = "") const {
        arguments.insert(arguments.begin(), "cluster");
        const std::string path = searched.empty() ? folder / "bin" + ":/usr/bin:/bin" : searched;
        return runOmbrel(arguments, {"PATH=" + path});
    }

    ProgramResult submit(std::vector<std::string> more = {}, const std::string& searched = "") const {
        more.insert(more.begin(), {"submit", "-f", "Binning 2x2", input, "-o", output, "--frames",
                                   "1:", "--part-frames", "4", "--cores", "1"});
        return cluster(more, searched);
    }

    // Runs a task as the scheduler would: the script that was submitted, with its variables.
    int runTask(const std::string& job, int part) const {
        const std::string command =
            "SLURM_ARRAY_JOB_ID=" + job + " SLURM_ARRAY_TASK_ID=" + std::to_string(part) +
            " SLURM_CPUS_PER_TASK=1 bash '" + parts + "/parts.sh' 2>>'" + (folder / "tasks.log") + "'";
        return std::system(command.c_str());
    }

    QJsonObject status() const {
        const ProgramResult result = cluster({"status", output, "--json"});
        return QJsonDocument::fromJson(QByteArray::fromStdString(result.output)).object();
    }

    std::vector<std::string> submissions() const {
        std::vector<std::string> lines;
        std::istringstream text(fileText(folder / "sbatch.log"));
        for (std::string line; std::getline(text, line);)
            lines.push_back(line);
        return lines;
    }

    const TemporaryFolder folder;
    const std::string input = folder / "in put.h5"; // quoted in the scripts
    const std::string output = folder / "whole.h5";
    const std::string parts = output + ".parts";
};

std::vector<std::string> statesOf(const QJsonObject& status) {
    std::vector<std::string> states;
    for (const QJsonValue& part : status["parts"].toArray())
        states.push_back(part["state"].toString().toStdString());
    return states;
}

} // namespace

TEST_F(Cluster, PlansPartsWithCommandsThatRunAnywhere) {
    std::vector<std::string> arguments{
        "plan",      "-f",  "Binning 2x2", "--output-type", "u16",           "--scale", "0,1000",
        "--replace", input, "-o",          output,          "--part-frames", "4",       "--json"};
    const ProgramResult planned = cluster(arguments);
    ASSERT_EQ(planned.exitCode, 0) << planned.messages;
    EXPECT_FALSE(fs::exists(parts));
    const QJsonObject plan = QJsonDocument::fromJson(QByteArray::fromStdString(planned.output)).object();
    ASSERT_EQ(plan["parts"].toArray().size(), 3);
    fs::create_directory(plan["part_folder"].toString().toStdString());

    const auto run = [](const QJsonValue& command) {
        std::vector<std::string> words;
        for (const QJsonValue& word : command.toArray())
            words.push_back(word.toString().toStdString());
        words.erase(words.begin()); // the program
        return runWell(words);
    };
    for (const QJsonValue& part : plan["parts"].toArray())
        run(part["command"]);
    run(plan["merge"]);
    const std::string once = folder / "once.h5";
    runWell({"run", "-f", "Binning 2x2", "--replace", "--output-type", "u16", "--scale", "0,1000", input,
             "-o", once});
    EXPECT_EQ(readAllFrames(output), readAllFrames(once));

    // Less than a frame takes, but a part has one.
    const ProgramResult timed = cluster({"plan", "-f", "Binning 2x2", input, "-o", folder / "timed.h5",
                                         "--part-time", "0.0000001", "--cores", "1"});
    EXPECT_EQ(timed.exitCode, 0) << timed.messages;
    EXPECT_THAT(timed.output, StartsWith("10 frames in 10 parts of 1: "));
}

TEST_F(Cluster, SubmitsFollowsResumesAndMerges) {
    const ProgramResult submitted = submit({"--sbatch=--partition=short", "--sbatch=--time=5"});
    ASSERT_EQ(submitted.exitCode, 0) << submitted.messages;
    ASSERT_EQ(submissions().size(), 2u);
    EXPECT_THAT(submissions()[0], AllOf(HasSubstr("--array=0-2"), HasSubstr("part-%6a.log")));
    EXPECT_THAT(submissions()[1], AllOf(HasSubstr("--dependency=afterany:1"), EndsWith("merge.sh")));
    EXPECT_THAT(fileText(parts + "/parts.sh"),
                AllOf(HasSubstr("#SBATCH --partition=short\n#SBATCH --time=5\n"),
                      HasSubstr("#SBATCH --cpus-per-task=1\n")));

    // One part done, one running, one waiting.
    ASSERT_EQ(runTask("1", 0), 0);
    answer("1|1|RUNNING|1-00:00:10\n1|2|PENDING|0:00\n2|N/A|PENDING|0:00\n");
    EXPECT_THAT(statesOf(status()), ElementsAre("done", "running", "waiting"));
    EXPECT_TRUE(status()["merge_queued"].toBool());
    expectRefusal(cluster({"merge", output}), 1, "2 of 3 parts are incomplete (part 1 has 0 of 4 frames)");
    ASSERT_EQ(cluster({"resume", output}).exitCode, 0);
    EXPECT_EQ(submissions().size(), 2u) << "parts in the queue were submitted again";

    // The running one is killed, and its node stays in the state of cleaning up.
    answer("1|1|COMPLETING|0:10\n1|2|PENDING|0:00\n");
    writeFileText(folder / "accounts", "1_1|NODE_FAIL\n1_2|PENDING\n1_[3-4]|PENDING\n");
    const ProgramResult shown = cluster({"status", output});
    EXPECT_EQ(shown.exitCode, 1);
    EXPECT_THAT(shown.output,
                AllOf(HasSubstr("3 parts: 1 done, 0 running, 1 waiting, 1 stopped"),
                      HasSubstr("part 1 (frames 5 to 8): stopped after 0 of 4 frames, NODE_FAIL")));
    ASSERT_EQ(cluster({"resume", output}).exitCode, 0);
    ASSERT_EQ(submissions().size(), 4u);
    EXPECT_THAT(submissions()[2], HasSubstr("--array=1 "));
    EXPECT_THAT(submissions()[3], HasSubstr("--dependency=afterany:1:3"));

    ASSERT_EQ(runTask("1", 2), 0);
    ASSERT_EQ(runTask("3", 1), 0);
    answer("", 1, "slurm_load_jobs error: Invalid job id specified\n"); // forgotten
    EXPECT_THAT(statesOf(status()), ElementsAre("done", "done", "done"));
    ASSERT_EQ(std::system(("bash '" + parts + "/merge.sh' 2>/dev/null").c_str()), 0);
    const std::string once = folder / "once.h5";
    runWell({"run", "-f", "Binning 2x2", "--frames", "1:", input, "-o", once});
    EXPECT_EQ(readAllFrames(output), readAllFrames(once));
    EXPECT_TRUE(status()["merged"].toBool());
    EXPECT_THAT(cluster({"merge", output}).messages, HasSubstr("already merged"));
    EXPECT_THAT(cluster({"resume", output}).messages, HasSubstr("nothing to submit"));
}

// A job that takes a part over renames its file, and keeps the frames that it holds.
TEST_F(Cluster, TakesOverThePartOfAnEarlierJob) {
    ASSERT_EQ(submit().exitCode, 0);
    ASSERT_EQ(runTask("1", 0), 0);
    const std::string first = fileText(parts + "/part-000000.1.h5");
    ASSERT_EQ(runTask("7", 0), 0);
    EXPECT_FALSE(fs::exists(parts + "/part-000000.1.h5"));
    EXPECT_EQ(fileText(parts + "/part-000000.7.h5"), first);
    EXPECT_THAT(fileText(folder / "tasks.log"), HasSubstr("already complete"));
}

// The rate counts what the running job did, not what it found.
TEST_F(Cluster, MeasuresTheRateOfRunningParts) {
    ASSERT_EQ(submit().exitCode, 0);
    const std::string part = parts + "/part-000000.1.h5";
    const auto framesDone = [&] {
        const auto state = ombrel::FrameOutput::stateOf(part);
        return state ? state->framesDone : 0;
    };
    for (int call = 1; framesDone() != 2; ++call) { // killed after two of four frames
        ASSERT_LT(call, 200);
        fs::remove(part);
        runOmbrel({"run", "-q", "-j", "1", "-f", "Binning 2x2", input, "--frames", "1:5", "-o", part},
                  {"LD_PRELOAD=" OMBREL_DIE_AT_WRITE_LIBRARY,
                   "ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0",
                   "OMBREL_DIE_AT_WRITE=" + std::to_string(call), "OMBREL_DIE_BY=9"});
    }
    EXPECT_EQ(status()["frames_done"].toInt(), 2);
    answer("1|0|RUNNING|0:08\n");
    EXPECT_DOUBLE_EQ(status()["frames_per_second"].toDouble(), 0.25);
    EXPECT_THAT(cluster({"status", output}).output,
                HasSubstr("2 of 9 frames done, 0.2 frames/s, about 28 s left"));

    answer("");
    ASSERT_EQ(cluster({"resume", output}).exitCode, 0); // job 3
    answer("3|0|RUNNING|0:04\n");
    EXPECT_DOUBLE_EQ(status()["frames_per_second"].toDouble(), 0);
    ASSERT_EQ(runTask("3", 0), 0);
    EXPECT_EQ(status()["frames_done"].toInt(), 4);
    EXPECT_THAT(fileText(folder / "tasks.log"), HasSubstr("resuming after 2 of 4 frames"));
}

TEST_F(Cluster, RefusesWhatCannotWorkWithOneLine) {
    expectRefusal(submit({}, "/nowhere"), 1, "sbatch: not found on the PATH");
    EXPECT_FALSE(fs::exists(parts));
    expectRefusal(cluster({"plan", "-f", "Binning 2x2", input, "-o", output, "--part-frames", "0"}), 2,
                  "is not a whole number above 0");
    expectRefusal(cluster({"plan", "-f", "Binning 2x2", input, "-o", output}), 2,
                  "give either --part-frames or --part-time");
    expectRefusal(cluster({"plan", "-f", "Binning 2x2", input, "-o", folder / "a.tif", "--part-frames", "1"}),
                  2, "must end in .h5");
    expectRefusal(cluster({"status", output}), 1, "plan.json: cannot be opened");

    const ProgramResult printed = submit({"--dry-run"});
    EXPECT_EQ(printed.exitCode, 0) << printed.messages;
    EXPECT_THAT(printed.output, AllOf(HasSubstr("--resume"), HasSubstr("sbatch --parsable --array=0-2 ")));
    EXPECT_FALSE(fs::exists(parts));

    addCommand("sbatch", "echo 'sbatch: error: invalid partition' >&2; exit 1\n");
    expectRefusal(submit(), 1, "sbatch failed: sbatch: error: invalid partition");
    expectRefusal(submit(), 1, "is already submitted");
    expectRefusal(cluster({"resume", output}), 1, "invalid partition");
    answer("", 1, "slurm_load_jobs error: Unable to contact slurm controller\n");
    addCommand("sbatch", "echo 9\n");
    ASSERT_EQ(cluster({"resume", output}).exitCode, 0); // no job was submitted yet
    expectRefusal(cluster({"resume", output}), 1, "Unable to contact slurm controller");
    writeFileText(parts + "/plan.json", "{}");
    expectRefusal(cluster({"status", output}), 1, "plan.json: is damaged");
}

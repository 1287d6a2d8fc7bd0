#pragma once

#include "fixtures/FileText.h"
#include "fixtures/Hdf5Builder.h"
#include "fixtures/ModalUser.h"
#include "fixtures/TemporaryFolder.h"
#include "fixtures/WidgetActions.h"
#include "standalone/Host.h"

#include <QSettings>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using Values = std::vector<double>;

// A host with a device of 3 x 2 pixels, and an empty memory of file dialogs.
class DialogFixture : public testing::Test {
protected:
    struct Destroy {
        void operator()(zt::IDataFilter* filter) const { filter->destroy(); }
    };

    DialogFixture() { QSettings(QSettings::IniFormat, QSettings::UserScope, "Morvane", "Zenteo").clear(); }

    static std::string remembered(const char* key) {
        const QSettings store(QSettings::IniFormat, QSettings::UserScope, "Morvane", "Zenteo");
        return store.value(key).toString().toStdString();
    }

    // A file of frames of the device's size that all hold `value`, of so many seconds each. Returns its path.
    std::string frameFile(const std::string& name, zt::u16 value, double seconds = 1, zt::u32 count = 1) {
        const std::string path = folder / name;
        Hdf5Builder file(path);
        file.data<zt::u16>("exchange/data", {count, 2, 3}, std::vector<zt::u16>(count * 6, value));
        file.number("exchange/count_time", seconds);
        return path;
    }

    // A path that nobody can write to, whatever their rights are: a link into a folder that is not there.
    std::string unwritable(const std::string& name) const {
        std::filesystem::create_symlink(folder / "gone/file", folder / name);
        return folder / name;
    }

    static ombrel::FramePtr frameOf(const Values& pixels) {
        auto frame = ombrel::Frame::create(3, 2, zt::DT_DOUBLE);
        std::ranges::copy(pixels, frame->pixels<double>().begin());
        return frame;
    }

    // Makes these the device's last acquisition, of 2 seconds a frame.
    void measure(const std::vector<Values>& frames) {
        std::vector<ombrel::FramePtr> acquired;
        for (const Values& pixels : frames) {
            acquired.push_back(frameOf(pixels));
            acquired.back()->setAcqTime(2);
        }
        device.setAcquisition(std::move(acquired));
    }

    std::vector<std::string> takeLog() { return std::exchange(log, {}); }

    TemporaryFolder folder;
    std::vector<std::string> log;
    ombrel::Host host{[this](const std::string& line) { log.push_back(line); }};
    ombrel::Device& device = host.addDevice(1, 3, 2);
    ModalUser user;
};

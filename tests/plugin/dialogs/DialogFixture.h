#pragma once

#include "fixtures/FileText.h"
#include "fixtures/FilterTests.h"
#include "fixtures/Hdf5Builder.h"
#include "fixtures/ModalUser.h"
#include "fixtures/WidgetActions.h"

#include <QSettings>

#include <filesystem>

// A device of 3 x 2 pixels, and an empty memory of file dialogs.
class DialogFixture : public FilterTests<3, 2> {
protected:
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

    // Makes these the device's last acquisition, of 2 seconds a frame.
    void measure(const std::vector<Values>& frames) {
        std::vector<ombrel::FramePtr> acquired;
        for (const Values& pixels : frames) {
            acquired.push_back(frameOf(pixels));
            acquired.back()->setAcqTime(2);
        }
        device.setAcquisition(std::move(acquired));
    }

    ModalUser user;
};

#pragma once

#include "tests/storage/Support.h"

#include <functional>
#include <stdexcept>
#include <vector>

namespace storage::testing {

/// Plays operations on a compound file and on a map of paths, and compares. Each number that `choose(n)` answers, below
/// n, decides one thing, so that random numbers and a fuzzer's bytes drive it alike.
class ModelRun {
public:
    explicit ModelRun(std::function<unsigned(unsigned)> choose) : choose_(std::move(choose)) {
        expect(stgCreateDocfile(path_, kCreateReadWrite, root_) == com::kOk, "create");
    }

    /// One operation somewhere in the tree; throws what is wrong after it.
    void step() {
        std::vector<ComPtr<IStorage>> chain{root_};
        std::u16string path = u"/";
        while (choose_(3) == 0) {
            const std::u16string name = chooseName();
            ComPtr<IStorage> child;
            const Status status = chain.back()->openStorage(name, kOpenReadWrite, child);
            expect((status == com::kOk) == tree_.contains(path + name + u"/"), "open storage");
            if (com::failed(status)) {
                break;
            }
            chain.push_back(child);
            path += name + u"/";
        }
        act(*chain.back().get(), path);
        chain.clear();
        Contents found;
        expect(readTree(*root_.get(), found) == com::kOk && found == tree_, "contents by the interfaces");
    }

    /// Saves the file, or closes and opens it again, and checks it with all strictness.
    void save() {
        const bool reopens = choose_(2) == 0;
        if (reopens) {
            root_.reset();
        } else {
            expect(root_->flush() == com::kOk, "flush");
        }
        Contents found;
        const std::string wrong = strictCheck(load(path_), found);
        expect(wrong.empty(), "file: " + wrong);
        expect(found == tree_, "contents of the file");
        expect(!reopens || stgOpenStorage(path_, kOpenReadWrite, root_) == com::kOk, "open");
    }

private:
    static void expect(bool holds, const std::string& what) {
        if (!holds) {
            throw std::runtime_error(what);
        }
    }

    std::u16string chooseName() {
        static constexpr std::u16string_view kStems[]{
            u"A", u"B", u"CC", u"DD", u"ITEM", u"0000000", u"A LONG NAME OF NEARLY THIRTY"};
        return std::u16string(kStems[choose_(7)]) + static_cast<char16_t>(u'0' + choose_(10));
    }

    std::size_t chooseLength() {
        static constexpr std::size_t kLengths[]{0, 1, 63, 64, 65, 134, 500, 4095, 4096, 4097, 5000, 9000, 70000};
        return kLengths[choose_(13)];
    }

    void act(IStorage& parent, const std::u16string& path) {
        const unsigned action = choose_(8);
        const std::u16string name = chooseName();
        if (action < 2) {
            createStorage(parent, path, name);
        } else if (action < 4) {
            createStream(parent, path, name);
        } else if (action == 4) {
            const Status status = parent.destroyElement(name);
            expect(status == (forget(path + name) ? com::kOk : kFileNotFound), "destroy");
        } else {
            changeStream(parent, path + name, name);
        }
    }

    void createStorage(IStorage& parent, const std::u16string& path, const std::u16string& name) {
        ComPtr<IStorage> child;
        expect(parent.createStorage(name, kCreateReadWrite, child) == com::kOk, "create storage");
        forget(path + name);
        tree_[path + name + u"/"] = {};
    }

    void createStream(IStorage& parent, const std::u16string& path, const std::u16string& name) {
        const Buffer bytes = pattern(chooseLength(), ++seed_);
        expect(writeStream(parent, name, bytes) == com::kOk, "create stream");
        forget(path + name);
        tree_[path + name] = bytes;
    }

    void changeStream(IStorage& parent, const std::u16string& path, const std::u16string& name) {
        ComPtr<IStream> stream;
        const auto known = tree_.find(path);
        const Status status = parent.openStream(name, kOpenReadWrite, stream);
        expect((status == com::kOk) == (known != tree_.end()), "open stream");
        if (com::failed(status)) {
            return;
        }
        Buffer& model = known->second;
        const std::size_t position = chooseLength();
        const Buffer bytes = pattern(chooseLength(), ++seed_);
        std::uint32_t transferred = 0;
        expect(stream->moveTo(position) == com::kOk && stream->write(bytes, transferred) == com::kOk &&
                   transferred == bytes.size(),
               "write at");
        if (!bytes.empty()) {
            model.resize(std::max(model.size(), position + bytes.size()));
            std::copy(bytes.begin(), bytes.end(), model.begin() + static_cast<std::ptrdiff_t>(position));
        }
    }

    /// Takes a path and what is below it out of the model.
    bool forget(const std::u16string& path) {
        const std::size_t before = tree_.size();
        std::erase_if(tree_, [&](const auto& row) { return row.first == path || row.first.starts_with(path + u"/"); });
        return tree_.size() < before;
    }

    TestFolder folder_;
    const std::string path_ = folder_ / "model.mox";
    std::function<unsigned(unsigned)> choose_;
    ComPtr<IStorage> root_;
    Contents tree_{{u"/", {}}};
    std::uint32_t seed_ = 0;
};

} // namespace storage::testing

// The host's handles, tables, topology and free functions, as writers see them.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>

#include "host/model/registry.h"
#include "pwr/pwr.h"

namespace {

using host::model::HandleTexts;
using host::model::Registry;

class Model : public testing::Test {
protected:
    Model() { Registry::reset(); }
    ~Model() override { Registry::reset(); }
    Registry& registry() { return Registry::instance(); }
};

TEST_F(Model, CastsGoFromAHandleToEverythingThatItIs) {
    registry().add(std::make_unique<host::model::Entity>(1, HandleTexts("entity"), "a/entity", 1, nullptr));
    registry().add(std::unique_ptr<host::model::Entity>(std::make_unique<host::model::AttributeEntity>(
        2, HandleTexts("both"), "b/both", 0, nullptr, nullptr)));
    registry().add(std::make_unique<host::model::Handle>(3, HandleTexts("no descriptor"), 9));
    registry().add(std::make_unique<host::model::Descriptor>(4, HandleTexts("descriptor")));
    registry().add(std::unique_ptr<host::model::Handle>(std::make_unique<host::model::ExpectingHandle>(
        5, HandleTexts("expecting"), 1, std::vector<const pwr::Attribute*>{nullptr})));
    registry().add(std::make_unique<host::model::Process>(6, "process"));
    registry().add(std::make_unique<host::model::Thread>(7, "thread"));
    registry().add(std::make_unique<host::model::NameValuePair>(8, "pair"));
    const struct {
        unsigned long id;
        bool isEntity, isAttribute, isDescriptor, isExpecting, isProcess, isThread, isPair;
    } cases[] = {{1, 1, 0, 0, 0, 0, 0, 0}, {2, 1, 1, 0, 0, 0, 0, 0}, {3, 0, 0, 0, 0, 0, 0, 0},
                 {4, 0, 0, 1, 0, 0, 0, 0}, {5, 0, 0, 0, 1, 0, 0, 0}, {6, 0, 0, 0, 0, 1, 0, 0},
                 {7, 0, 0, 0, 0, 0, 1, 0}, {8, 0, 0, 0, 0, 0, 0, 1}};
    for (const auto& test : cases) {
        SCOPED_TRACE(test.id);
        const pwr::DataHandle* handle = nullptr;
        ASSERT_EQ(0, pwr::DataHandle::get(test.id, handle));
        EXPECT_EQ(test.id, handle->getId());
        EXPECT_EQ(test.isEntity, dynamic_cast<const pwr::EntityHandle*>(handle) != nullptr);
        EXPECT_EQ(test.isAttribute, dynamic_cast<const pwr::Attribute*>(handle) != nullptr);
        EXPECT_EQ(test.isDescriptor, dynamic_cast<const pwr::DataDescriptor*>(handle) != nullptr);
        EXPECT_EQ(test.isExpecting, dynamic_cast<const pwr::ExpectedAttributeManager*>(handle) != nullptr);
        EXPECT_EQ(test.isProcess, dynamic_cast<const pwr::Process*>(handle) != nullptr);
        EXPECT_EQ(test.isThread, dynamic_cast<const pwr::Thread*>(handle) != nullptr);
        EXPECT_EQ(test.isPair, dynamic_cast<const pwr::NameValuePair*>(handle) != nullptr);
    }
    const pwr::DataHandle* both = nullptr;
    pwr::DataHandle::get(2, both);
    EXPECT_EQ(2U, dynamic_cast<const pwr::Attribute*>(both)->getId());
    EXPECT_EQ("b/both", both->getQualifiedName());
    const pwr::EntityHandle copy(*dynamic_cast<const pwr::EntityHandle*>(both));
    EXPECT_EQ("b/both", copy.getQualifiedName());
}

TEST_F(Model, EachCreationMakesANewObjectWithAFreshId) {
    const pwr::Attribute* const first = pwr::Attribute::create("A", nullptr, pwr::ATTRIBUTE_NAME_VALUE);
    const pwr::Attribute* const second = pwr::Attribute::create("A", nullptr, pwr::ATTRIBUTE_NAME_VALUE);
    pwr::DataDescriptorBuilder builder("name", "field");
    builder.m_attributes.addAttributeValue(first, pwr::Data(1UL));
    builder.m_attributes.addAttributeValue(nullptr, pwr::Data(2UL));
    builder.m_attributes.addAttributeValue(first, pwr::Data(3UL));
    const pwr::DataDescriptor* const descriptor = pwr::DataDescriptor::create(builder);
    EXPECT_EQ(1073741824U, first->getId());
    EXPECT_EQ(1073741825U, second->getId());
    EXPECT_EQ(1073741826U, descriptor->getId());
    EXPECT_EQ(pwr::ATTRIBUTE_NAME_VALUE, first->m_attributeType);
    EXPECT_EQ("field", descriptor->getFieldName());
    EXPECT_EQ(9, descriptor->getHandleType());
    ASSERT_EQ(2U, descriptor->getAttributeCount());
    EXPECT_EQ(first, descriptor->begin()->first);
    EXPECT_EQ(nullptr, (descriptor->begin() + 1)->first);

    const pwr::DataHandle* found = nullptr;
    EXPECT_EQ(0, pwr::DataHandle::get(1073741826, found));
    EXPECT_EQ(descriptor, found);
    EXPECT_NE(0, pwr::DataHandle::get(1073741827, found));
    EXPECT_EQ(descriptor, found);
}

TEST_F(Model, ManyIdsAreFound) {
    for (unsigned long id = 1; id < 200000; id += 7)
        registry().add(std::make_unique<host::model::Handle>(id * 5003 % 1073741823, HandleTexts(), 1));
    for (unsigned long id = 1; id < 200000; ++id)
        EXPECT_EQ(id % 7 == 1, registry().findHandle(id * 5003 % 1073741823) != nullptr) << id;
}

TEST_F(Model, TimeIsTheHostsOwnUntilOneIsDefined) {
    std::string title;
    pwr::Quantity::time()->toTitleString(title);
    EXPECT_EQ("Time (usec)", title);
    EXPECT_EQ("Time", pwr::Quantity::time()->toQuantityString());
    EXPECT_EQ("usec", pwr::Quantity::time()->toUnitsString());
    EXPECT_EQ(1, pwr::Quantity::time()->toQuantity());
    EXPECT_EQ(1073741823U, pwr::Quantity::time()->getId());
    const pwr::Quantity* rate = nullptr;
    double factor = 7;
    EXPECT_NE(0, pwr::Quantity::time()->getRateConversion(rate, factor));
    EXPECT_EQ(7, factor);
    const auto* own = registry().add(std::make_unique<host::model::Quantity>(5), true);
    EXPECT_EQ(own, pwr::Quantity::time());
}

TEST_F(Model, UnitsNeedAQuantityThatHasThem) {
    host::model::Quantity quantity(1);
    std::string out = "before";
    EXPECT_FALSE(pwr::TableMessage::quantityToUnits(nullptr, out, " (", ")"));
    EXPECT_FALSE(pwr::TableMessage::quantityToUnits(&quantity, out, " (", ")"));
    EXPECT_EQ("before", out);
    quantity.m_units = "%";
    EXPECT_TRUE(pwr::TableMessage::quantityToUnits(&quantity, out, " (", ")"));
    EXPECT_EQ(" (%)", out);
}

TEST_F(Model, ConfigurationAppendsOrFails) {
    auto& parser = pwr::WriterInterfaceConfigFileParser::instance();
    std::deque<std::string> names = {"before"};
    EXPECT_TRUE(parser.getFeatureOrder(names));
    EXPECT_FALSE(parser.getAllFeaturePrefixes(names));
    EXPECT_FALSE(parser.getMetricOrderForFeature(names, "f"));
    EXPECT_EQ(std::deque<std::string>{"before"}, names);
    registry().m_configuration.m_features.reset();
    registry().m_configuration.m_prefixes = {{"p"}};
    registry().m_configuration.m_metrics = {{"f", {"m1", "m2"}}};
    EXPECT_FALSE(parser.getFeatureOrder(names));
    EXPECT_TRUE(parser.getAllFeaturePrefixes(names));
    EXPECT_TRUE(parser.getMetricOrderForFeature(names, "f"));
    EXPECT_EQ((std::deque<std::string>{"before", "p", "m1", "m2"}), names);
}

TEST(Utilities, TokenizerSkipsEmptyTokens) {
    const struct {
        const char* text;
        const char* delimiters;
        std::vector<std::string> tokens;
    } cases[] = {{"a b", " ", {"a", "b"}}, {"  a,,b; ", " ,;", {"a", "b"}}, {"", ",", {}},
                 {",,,", ",", {}},         {"abc", ",", {"abc"}},           {"abc", "", {"abc"}},
                 {"x-y", "xy", {"-"}}};
    for (const auto& test : cases)
        EXPECT_EQ(test.tokens, pwr::Tokenizer(test.text, test.delimiters).get_all_tokens()) << test.text;
}

TEST(Utilities, TextsOfNumbers) {
    EXPECT_EQ("-5", pwr::to_string(-5));
    EXPECT_EQ("18446744073709551615", pwr::toString(18446744073709551615UL));
    EXPECT_EQ("1234567", pwr::to_string(1234567L));
    EXPECT_EQ("1.23457e+06", pwr::toString(1234567.0));
}

TEST(Utilities, BoundedCopyAndFormat) {
    char target[4] = "abc";
    EXPECT_EQ(ERANGE, memcpy_s(target, 3, "1234", 4));
    EXPECT_EQ(EINVAL, memcpy_s(nullptr, 4, "1234", 4));
    EXPECT_STREQ("abc", target);
    EXPECT_EQ(0, memcpy_s(target, 4, "xyz", 4));
    EXPECT_STREQ("xyz", target);
    EXPECT_EQ(5, pw_snprintf(target, sizeof target, "%d", 12345));
    EXPECT_STREQ("123", target);
    char reason[64];
    EXPECT_STREQ("No such file or directory", pwr::pw_strerror(ENOENT, reason, sizeof reason));
    EXPECT_STREQ("No", pwr::pw_strerror(ENOENT, target, 3));
}

TEST(Utilities, OnceMeansOnce) {
    int calls = 0;
    for (int i = 0; i < 3; ++i) {
        pwr::executeOnce<900001>([&] { ++calls; });
        pwr::executeOnce<900002>([&] { calls += 10; });
    }
    EXPECT_EQ(11, calls);
}

TEST(Utilities, EnvironmentVariableMayBeEmpty) {
    ::setenv("PWR_TEST_EMPTY", "", 1);
    EXPECT_TRUE(pwr::check_env("PWR_TEST_EMPTY"));
    ::unsetenv("PWR_TEST_EMPTY");
    EXPECT_FALSE(pwr::check_env("PWR_TEST_EMPTY"));
}

class Files : public testing::Test {
protected:
    Files() : m_folder(std::filesystem::absolute("files")) {
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder);
    }
    ~Files() override { std::filesystem::remove_all(m_folder); }

    std::string path(const std::string& name) const { return (m_folder / name).string(); }
    void write(const std::string& name, const std::string& text) { std::ofstream(path(name)) << text; }
    std::string read(const std::string& name) const {
        std::ifstream file(path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::filesystem::path m_folder;
};

TEST_F(Files, OpeningNeverFollowsAPlantedNameOrWaits) {
    write("victim", "untouched");
    std::filesystem::create_symlink(path("victim"), path("link"));
    std::filesystem::create_symlink(path("nothing"), path("dangling"));
    std::filesystem::create_symlink("/dev/null", path("device"));
    std::filesystem::create_directory(path("folder"));
    ASSERT_EQ(0, ::mkfifo(path("pipe").c_str(), 0600));
    const struct {
        const char* name;
        const char* mode;
        int error;  // 0: opens
    } cases[] = {
        {"new", "wb", 0},          {"new", "rb", 0},          {"new", "ab+", 0},
        {"victim", "r+b", 0},      {"link", "rb", 0},         {"link", "wb", ELOOP},
        {"link", "ab", 0},         {"dangling", "wb", ELOOP}, {"dangling", "ab", ELOOP},
        {"device", "ab", ELOOP},   {"folder", "wb", EISDIR},  {"pipe", "wb", ENXIO},
        {"missing", "rb", ENOENT}, {"new", "q", EINVAL},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(std::string(test.name) + " " + test.mode);
        FILE* file = nullptr;
        errno = 0;
        EXPECT_EQ(test.error == 0, pwr::openFileHandle(&file, path(test.name).c_str(), test.mode));
        if (file != nullptr) {
            EXPECT_EQ(0, std::fclose(file));
        } else {
            EXPECT_EQ(test.error, errno);
        }
    }
    EXPECT_EQ("untouched", read("victim"));
    EXPECT_FALSE(std::filesystem::exists(path("nothing")));
}

TEST_F(Files, PathsAreMade) {
    EXPECT_EQ(0, pwr::mkpath("./"));
    EXPECT_EQ(0, pwr::mkpath(path("a/b//c/")));
    EXPECT_EQ(0, pwr::mkpath(path("a/b/c")));
    EXPECT_TRUE(std::filesystem::is_directory(path("a/b/c")));
    write("file", "");
    errno = 0;
    EXPECT_NE(0, pwr::mkpath(path("file")));
    EXPECT_EQ(ENOTDIR, errno);
    EXPECT_NE(0, pwr::mkpath(path("file/below")));
}

}  // namespace

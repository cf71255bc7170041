// Option letters, language and processor filters.
#include "Harness.h"
#include "platform/SystemSeam.h"
#include "prereq/PrereqOptions.h"

using namespace tvtest;

namespace {

// Replaces what the system says about itself for one test.
class SystemAs {
public:
    SystemAs(LANGID language, tv::NativeMachine machine) : mSaved(tv::GetSystemSeam()) {
        sLanguage = language;
        sMachine = machine;
        tv::GetSystemSeam() = {[] { return sLanguage; }, [] { return sMachine; }};
    }
    ~SystemAs() { tv::GetSystemSeam() = mSaved; }

private:
    tv::SystemSeam mSaved;
    static inline LANGID sLanguage = 0;
    static inline tv::NativeMachine sMachine;
};

const tv::NativeMachine kX64{tv::NativeMachine::Known, IMAGE_FILE_MACHINE_AMD64};
const tv::NativeMachine kArm64{tv::NativeMachine::Known, IMAGE_FILE_MACHINE_ARM64};
const tv::NativeMachine kNoFunction{tv::NativeMachine::Unavailable, 0};
const tv::NativeMachine kCallFailed{tv::NativeMachine::CallFailed, 0};

}  // namespace

TEST(Options, PhaseAndFeatureBinding) {
    struct Case {
        const wchar_t* options;
        tv::RunPhase phase;
        bool featureBound;
    };
    const Case cases[] = {
        {L"", tv::PhaseNone, false},      {L"y", tv::PhasePre, false},     {L"yp", tv::PhasePre, true},
        {L"fy", tv::PhasePre, true},      {L"pf", tv::PhasePost, true},    {L"wf", tv::PhaseMain, true},
        {L"w", tv::PhaseExcluded, true},  {L"F", tv::PhaseNone, false},    {L"xz=-i", tv::PhaseNone, false},
        {L"m;r,f", tv::PhaseMain, true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(tv::GetRunPhase(c.options), c.phase) << Narrow(c.options);
        EXPECT_EQ(tv::IsFeatureBound({{L"Options", c.options}}), c.featureBound) << Narrow(c.options);
    }
}

TEST(Options, UiLetterFirstOfTheSetWins) {
    struct Case {
        const wchar_t* options;
        const wchar_t* installing;
        const wchar_t* removing;
    };
    const Case cases[] = {
        {L"", L"", L""},       {L"bq", L"b", L""},    {L"nq", L"q", L""},   {L"jn", L"j", L""},
        {L"qN", L"q", L"N"},   {L"BQ", L"", L"B"},    {L"nJ", L"n", L"J"},  {L"fmrl", L"", L""},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(tv::SelectUiLetter(c.options, false), c.installing) << Narrow(c.options);
        EXPECT_EQ(tv::SelectUiLetter(c.options, true), c.removing) << Narrow(c.options);
    }
}

TEST(Options, LanguageIsTheSystemDefaultAsExactText) {
    SystemAs system(1031, kX64);
    const std::pair<const wchar_t*, bool> cases[] = {
        {L"", true},           {L"1031", true},       {L"1033;1031", true},  {L"1033; 1031", false},
        {L"01031", false},     {L"1033", false},      {L"1031;", true},      {L";1031;", true},
        {L"10311", false},     {L";", false},
    };
    for (const auto& [languages, accepted] : cases)
        EXPECT_EQ(tv::IsLanguageAccepted(languages), accepted) << Narrow(languages);
}

TEST(Options, ProcessorLettersByNativeMachine) {
    struct Case {
        tv::NativeMachine machine;
        const wchar_t* options;
        bool accepted;
    };
    const Case cases[] = {
        {kX64, L"", true},          {kX64, L"c", true},          {kX64, L"d", false},
        {kArm64, L"", true},        {kArm64, L"c", false},       {kArm64, L"d", true},
        {kX64, L"cd", false},       {kArm64, L"cd", false},      {kCallFailed, L"cd", true},
        {kNoFunction, L"c", true},  {kNoFunction, L"d", false},  {kCallFailed, L"d", true},
    };
    for (const Case& c : cases) {
        SystemAs system(1033, c.machine);
        EXPECT_EQ(tv::IsPlatformAccepted(c.options), c.accepted)
            << Narrow(c.options) << " state " << c.machine.state << " machine " << c.machine.machine;
    }
}

// A clang-tidy module whose check keeps all other checks out of system headers. By default they match every declaration
// of V8 and of the C++ library, which is most of their work, and what they find there is not reported.
#include <clang-tidy/ClangTidyCheck.h>
#include <clang-tidy/ClangTidyModule.h>
#include <clang-tidy/ClangTidyModuleRegistry.h>
#include <clang/ASTMatchers/ASTMatchFinder.h>

#include <vector>

namespace {

namespace matchers = clang::ast_matchers;
namespace tidy = clang::tidy;

class OwnCode : public tidy::ClangTidyCheck {
public:
    using ClangTidyCheck::ClangTidyCheck;

    void registerMatchers(matchers::MatchFinder* finder) override {
        finder->addMatcher(matchers::translationUnitDecl().bind("all"), this);
    }

    // The traversal matches the translation unit itself before it asks for the scope.
    void check(const matchers::MatchFinder::MatchResult& result) override {
        const auto* all = result.Nodes.getNodeAs<clang::TranslationUnitDecl>("all");
        std::vector<clang::Decl*> own;
        for (clang::Decl* each : all->decls())
            if (!result.SourceManager->isInSystemHeader(result.SourceManager->getExpansionLoc(each->getLocation())))
                own.push_back(each);
        result.Context->setTraversalScope(own);
    }
};

class Module : public tidy::ClangTidyModule {
public:
    void addCheckFactories(tidy::ClangTidyCheckFactories& factories) override {
        factories.registerCheck<OwnCode>("zeb-own-code");
    }
};

tidy::ClangTidyModuleRegistry::Add<Module> module("zeb", "");

}  // namespace

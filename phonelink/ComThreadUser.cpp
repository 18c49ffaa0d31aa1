#include "phonelink/ComThreadUser.h"

#include "phonelink/ComThreadManager.h"
#include "platform/kernel/MessageException.h"

ComThreadUser::ComThreadUser() : threadManager_(*ComThreadManager::acquire()) {}

ComThreadUser::~ComThreadUser() {
    ComThreadManager::release();
}

void ComThreadUser::recordFailures(const WorkerFailureTexts& texts, const std::function<void()>& work) {
    const auto record = [&](const std::string& text, com::Status status = com::kOk) {
        recordFailure(texts.function + (" - " + text), status);
    };
    try {
        work();
    } catch (const kernel::MessageException& error) {
        record(texts.showsMessages ? error.what() : texts.unhandled);
    } catch (const com::ComError& error) {
        record(texts.ofComError(error), error.code());
    } catch (...) {
        record(texts.unhandled);
    }
}

void ComThreadUser::recordFailure(std::string message, com::Status status) {
    errorMessage_ = std::move(message);
    errorStatus_ = status;
    errorPending_ = true;
}

void ComThreadUser::execute(Function function) {
    threadManager_.executeFunction(*this, function, kernel::kInfinite);
}

void ComThreadUser::execute(FunctionWithArgument function, std::uintptr_t argument) {
    threadManager_.executeFunction(*this, function, argument, kernel::kInfinite);
}

#include "host/copy/executors.h"

#include "host/copy/download.h"
#include "host/copy/upload.h"
#include "host/remote/look_up.h"

namespace ftp_host {
namespace {

class RemoveTemporary final : public Executor {
 public:
  explicit RemoveTemporary(const CopyContext& context) : target_{context.target} {}
  void run(const Step& step, Plan&, StepResult&) override { target_.remove_temporary(step.place); }

 private:
  Tree& target_;
};

class Remove final : public Executor {
 public:
  explicit Remove(const CopyContext& context) : target_{context.target}, filter_{context.rules.filter} {}
  void run(const Step& step, Plan&, StepResult& done) override {
    if (step.directory) {
      remove_tree(target_, step.place, step.path, filter_, done.removed);
    } else {
      target_.remove_file(step.place);
      done.removed.push_back({step.path, false});
    }
  }

 private:
  Tree& target_;
  const Filter& filter_;
};

class MakeDirectory final : public Executor {
 public:
  explicit MakeDirectory(const CopyContext& context) : target_{context.target} {}
  void run(const Step& step, Plan& plan, StepResult&) override {
    PlannedDirectory& directory = plan.directories[step.made];
    directory.target = target_.make_directory(*plan.directories[directory.parent].target, directory.name);
  }

 private:
  Tree& target_;
};

class Download final : public Executor {
 public:
  explicit Download(const CopyContext& context) : context_{context} {}
  void run(const Step& step, Plan& plan, StepResult& done) override {
    const LocalDirectory into = context_.local.open(*plan.directories[step.parent].target);
    const Entry exact = settled_file(context_.session, step.source);
    const DownloadResult result =
        download_file(context_.session, context_.progress, exact, into, exact.name, context_.rules.resume);
    done.bytes = result.bytes;
    done.resumed = result.resumed;
    done.stored = into.path_of(exact.name);
  }

 private:
  CopyContext context_;
};

class Upload final : public Executor {
 public:
  explicit Upload(const CopyContext& context) : context_{context} {}
  void run(const Step& step, Plan& plan, StepResult& done) override {
    const PlannedDirectory& directory = plan.directories[step.parent];
    const std::string& name = step.source.name;
    done.bytes = upload_file(context_.session, context_.progress, context_.local.open(directory.path), name,
                             *directory.target, name);
    done.stored = context_.session.url_of(join_path(*directory.target, name));
  }

 private:
  CopyContext context_;
};

}  // namespace

std::unique_ptr<Executor> make_executor(Step::Kind kind, const CopyContext& context) {
  switch (kind) {
    case Step::Kind::remove_temporary:
      return std::make_unique<RemoveTemporary>(context);
    case Step::Kind::remove:
      return std::make_unique<Remove>(context);
    case Step::Kind::make_directory:
      return std::make_unique<MakeDirectory>(context);
    case Step::Kind::copy_file:
      break;
  }
  if (context.rules.upload) return std::make_unique<Upload>(context);
  return std::make_unique<Download>(context);
}

}  // namespace ftp_host

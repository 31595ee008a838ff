// threads FOLDER: a cooperative thread saves a document while the main thread shows how far it is and a preemptive
// thread watches; then a second save is cancelled. What goes to the standard error is the library's trace.
#include <core/error/Guarded.h>
#include <core/filesys/ALocator.h>
#include <core/filesys/DiskRtns.h>
#include <core/mem/Owned.h>
#include <core/objsys/AFileStream.h>
#include <core/objsys/AObjDoc.h>
#include <core/objsys/TypedRead.h>
#include <core/os/HostStart.h>
#include <core/threads/KyCoreThreadServer.h>
#include <core/threads/PreemptiveThread.h>
#include <core/threads/UIThreadSafeInstalls.h>
#include <core/utils/AUndoable.h>

#include <atomic>
#include <cstdio>

constexpr Long kClips = 10'000;

// Only cooperative threads touch this one, and they run one at a time, so it needs no lock.
static Long putCount = 0;
// The watchdog runs at the same time as all others, so what it shares must be atomic or stand behind a lock.
static std::atomic<Long> looks{0};

class Clip : public AUndoable {
  KY_PORTABLE(Clip, AUndoable, "CLIP", 1, 1, 1)

 public:
  void Put(AStream* stream, AIODesc* desc) override {
    AUndoable::Put(stream, desc);
    WriteClassMark(stream);
    stream->WriteObjPtr("next", next);
    ++putCount;  // twice a save, which measures all objects before it writes them
  }
  void Get(AStream* stream, AIODesc* desc) override {
    AUndoable::Get(stream, desc);
    CheckClassMark(stream);
    next = ky::readObjPtrOf<Clip>(stream, "next");
  }
  Clip* next = nullptr;
};

// Long work of the library asks this every few objects, so it is a good point for others to have a turn. Without it
// they would run only while the disk works. It is also where an error that was sent to this thread is raised.
static Boolean LetOthersRun(Boolean, Long) {
  YieldOutToOthers();  // SafeThreadYield, but for threads of any kind
  return false;
}

// A cooperative thread, which is what a KyCoreThread is unless its attributes ask for the other kind. `Resume` gives it
// leave to run: ThreadStart once, then DoIt, and again DoIt for as long as HasNothingToDo says no; with nothing to do
// it parks until the next `Resume`.
class Saver : public KyCoreThread {
 public:
  Saver(ADirLocator* folder, Clip* first) : folder(folder), first(first) {}
  // The hooks are this class's, so the thread must end before this class's part of the object does.
  ~Saver() override { KillThead(false); }

  void ThreadStart() override { std::printf("saver: started\n"); }
  Boolean HasNothingToDo() override { return !busy; }
  void ThreadStop() override { std::printf("saver: ended\n"); }

  // An error that leaves DoIt is dropped, for there is nobody above it. So it is dealt with here: tidy up, and send it
  // to whoever should know. Let KILL_THREAD_SIGNAL through: it is how KillThead ends a thread.
  void DoIt() override {
    ky::Owned<AFileLocator> part(folder->GetFile("cut.part", nullptr));
    ky::guarded(
        [&] {
          Save(part.get());
          part->Rename("cut.kyb", true);  // in one step, so the old document stands until the new one is whole
        },
        [&](XError& caught) {
          if (part->Exists()) part->Delete();
          if (caught.FindCode(KILL_THREAD_SIGNAL)) xraisexerror(caught);
          GetCoreThreadServer()->GetMainThread()->DeferException(caught);
        });
    busy = false;  // only now: deleting lets others run, and the main thread must not miss the error
    YieldTo(GetCoreThreadServer()->GetMainThread(), false);  // the turn goes to the main thread, whoever else waits
  }

  bool busy = false;  // as putCount

 private:
  void Save(AFileLocator* place) {
    ky::Owned<AFileStream> file(place->OpenStream(kFileCreate, 0));
    file->SetSeqBuf(65536, 1);
    ky::Owned<AObjDoc> doc(AObjDoc::New(file.get(), false, Long(MakeChar4("CUTS"))));
    doc->CopyIn(first);
    file->Flush();
    ky::flushToDisk(file->GetFileHdl());
  }

  ADirLocator* folder;
  Clip* first;
};

// A preemptive thread: Start, Pause and Stop ask for a state, and the thread runs the hook of the state that it is in.
// An error that leaves a hook ends the thread and nothing else; to report one, defer it as Saver does.
class Watchdog : public PreemptiveThread {
  // At each Start, so after a pause too.
  void ThreadStarting() override { std::printf("watchdog: on guard\n"); }
  // Again and again; a Pause or Stop waits for the end of the present call.
  void ThreadRunning() override {
    ++looks;
    ThreadSleep(1);
  }
  void ThreadStopping() override { std::printf("watchdog: off\n"); }
};

// Runs a save and shows how far it is, until the saver is done. With `cancel` it sends the saver an error half-way.
static void SaveWithProgress(Saver& saver, bool cancel) {
  putCount = 0;
  saver.busy = true;
  saver.Resume();
  Long shown = -1;
  do {
    if (const Long tenths = 10 * putCount / (2 * kClips); tenths != shown) {
      shown = tenths;
      std::printf("main: %ld %% done\n", long(10 * shown));
    }
    if (cancel && shown >= 5) {
      cancel = false;
      saver.RaiseException(XError("SAVE_CANCELLED"));
    }
    SafeThreadYield();  // the saver's turn; what it deferred to this thread is raised here
  } while (saver.busy);
}

static Long CountAndDispose(Clip* clip) {
  Long count = 0;
  for (; clip; ++count) {
    Clip* const next = clip->next;
    clip->Dispose();
    clip = next;
  }
  return count;
}

static Clip* NewClips() {
  Clip* first = nullptr;
  for (Long i = 0; i < kClips; ++i) {
    Clip* const clip = new Clip;
    clip->next = first;
    first = clip;
  }
  return first;
}

static void Run(const char* path, Clip* first) {
  ky::Owned<ADirLocator> folder(ADirLocator::New());
  folder->Set(path, nullptr);
  ky::Owned<Watchdog> watchdog(new Watchdog);  // its Dispose stops the thread and waits for its end
  Saver saver(folder.get(), first);

  watchdog->Start();
  SaveWithProgress(saver, false);

  watchdog->Pause();
  const bool paused = watchdog->AwaitThreadState(PT_state_idle, 5000) == 0;
  const Long before = looks;
  GetCoreThreadServer()->GetMainThread()->Sleep(20'000);  // microseconds; the others have their turns meanwhile
  std::printf("main: the watchdog %s\n", paused && looks == before ? "pauses" : "does not pause");
  watchdog->Start();  // goes on
  while (looks == before) GetCoreThreadServer()->GetMainThread()->Sleep(1'000);
  std::printf("main: the watchdog is back\n");

  ky::guarded([&] { SaveWithProgress(saver, true); },
              [&](XError& caught) {
                if (!caught.FindCode("SAVE_CANCELLED")) xraisexerror(caught);
                std::printf("main: the second save was cancelled\n");
              });
  saver.KillThead(false);
  watchdog->Stop();
  watchdog.reset();

  ky::Owned<AFileLocator> place(folder->GetFile("cut.kyb", nullptr));
  ky::Owned<AFileStream> file(place->OpenStream(kFileRead, 0));
  ky::Owned<ADomain> doc(ADomain::OpenFromStream(file.get(), false));
  std::printf("done: the document holds %ld clips\n", long(CountAndDispose(ky::asReadClass<Clip>(doc->CopyOut()))));
}

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: threads FOLDER\n");
    return 2;
  }
  KyHostSettings settings;
  settings.coreThreads = true;  // the caller becomes the main thread: cooperative, and it has the turn
  KyStartHost(settings);
  UIThreadSafeInstalls::InstallNonMainUIrtns(UIrtns(LetOthersRun, nullptr, nullptr, nullptr));
  Clip::PCRegister();

  int result = 0;
  Clip* const first = NewClips();
  ky::guarded([&] { Run(argv[1], first); },
              [&](XError& caught) {
                std::printf("main: %s\n", caught.GetCode());
                result = 1;
              });
  CountAndDispose(first);
  return result;
}

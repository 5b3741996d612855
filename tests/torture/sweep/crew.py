"""Workers who do the trials side by side, each on stages of its own."""

import queue
import sys
import threading
import traceback

from trial import Result

WAITERS = 24  # workers for trials that mostly wait


class Crew:
    """@param makers  for each cloud a function that gets a folder to make, and gives a stage"""

    def __init__(self, work, makers, jobs):
        self._work = work
        self._makers = makers
        self._jobs = jobs
        self._number = 0

    def new_stage(self, cloud):
        self._number += 1
        return self._makers[cloud](self._work / f"stage-{self._number}")

    def run(self, trials):
        """Results as they come. Those that mostly wait have workers of their own."""
        queues = {False: queue.SimpleQueue(), True: queue.SimpleQueue()}
        for trial in trials:
            queues[trial.is_waiting].put(trial)
        sizes = {False: self._jobs, True: min(WAITERS, queues[True].qsize())}
        done, making = queue.SimpleQueue(), threading.Lock()
        workers = [threading.Thread(target=self._work_off, args=(waiting, done, making), daemon=True)
                   for kind, waiting in queues.items() for _ in range(sizes[kind])]
        for worker in workers:
            worker.start()
        for number in range(1, len(trials) + 1):
            result = done.get()
            _show(number, len(trials), result)
            yield result
        for worker in workers:
            worker.join()

    def _work_off(self, waiting, done, making):
        stages = {}
        while True:
            try:
                trial = waiting.get_nowait()
            except queue.Empty:
                break
            try:
                if trial.cloud not in stages:
                    with making:
                        stages[trial.cloud] = self.new_stage(trial.cloud)
                stages[trial.cloud].reset()
                losses = trial.run(stages[trial.cloud])
            except Exception:  # noqa: BLE001 - a trial that cannot be done counts as one that has failed
                losses = [traceback.format_exc()]
            done.put(Result(trial, tuple(losses)))
        for stage in stages.values():
            stage.close()


def _show(number, total, result):
    if result.losses:
        print(f"\r\033[KLOST {result.trial}" if sys.stderr.isatty() else f"LOST {result.trial}", file=sys.stderr)
        for loss in result.losses:
            print(f"     {loss}", file=sys.stderr)
    if sys.stderr.isatty():
        print(f"\r\033[K{number} of {total} {str(result.trial)[:60]}", end="", file=sys.stderr, flush=True)

# SPDX-License-Identifier: Apache-2.0
"""asyncio: the same events as without it, a loop that goes on meanwhile, and cancelled tasks that lose nothing."""
import asyncio
import inspect
import threading
import unittest

import numpy as np
import wvad
import wvad.aio
from support import MODEL, bursts, times

SIGNAL = bursts(6, [(1, 2), (4, 5)])


async def blocks():
    for block in np.split(SIGNAL, 12):
        yield block


class Aio(unittest.IsolatedAsyncioTestCase):
    async def test_events_are_those_of_a_stream(self):
        with wvad.Stream(model=MODEL) as stream:
            wanted = sum((stream.push(block) for block in np.split(SIGNAL, 12)), []) + stream.finish()
        self.assertEqual([event async for event in wvad.aio.events(blocks(), model=MODEL)], wanted)
        async with wvad.aio.Stream(model=MODEL) as stream:
            found = [event async for block in blocks() for event in await stream.push(block)]
            self.assertEqual(found + await stream.finish(), wanted)
            self.assertTrue(stream.info.finished)
        with self.assertRaises(wvad.StateError):
            await stream.push(SIGNAL)

    async def test_sentences_and_scores(self):
        found = [one async for one in wvad.aio.segment(SIGNAL, 16000, model=MODEL)]
        self.assertEqual(times(found), [(0.7, 2.2), (3.7, 5.2)])
        np.testing.assert_array_equal(await wvad.aio.scores(SIGNAL, 16000), wvad.scores(SIGNAL, 16000))
        with self.assertRaises(wvad.AudioFileError):
            [one async for one in wvad.aio.segment("/gone.wav")]

    async def test_parameters_are_those_of_their_namesakes(self):
        def parameters(call):
            return [(one.name, one.kind, one.default, one.annotation) for one in inspect.signature(call).parameters.values()]

        for name in ("segment", "scores", "Stream"):
            self.assertEqual(parameters(getattr(wvad.aio, name)), parameters(getattr(wvad, name)), name)
        self.assertEqual(parameters(wvad.aio.events)[1:], parameters(wvad.Stream))

    async def test_the_loop_goes_on_while_the_engine_works(self):
        async with wvad.aio.Stream(model=MODEL) as stream:
            began, go_on = threading.Event(), threading.Event()
            push = stream._stream.push

            def slow(samples):
                began.set()
                self.assertTrue(go_on.wait(20))
                return push(samples)

            stream._stream.push = slow
            task = asyncio.create_task(stream.push(SIGNAL))
            while not began.is_set():
                await asyncio.sleep(0.001)
            go_on.set()  # could not be reached if the loop waited for the piece
            self.assertGreater(len(await task), 3)

    async def test_cancelled_scores_listen_to_no_further_piece(self):
        for begun_with in (0, 3):
            began, go_on, asked = threading.Event(), threading.Event(), []

            def blocks():
                while len(asked) < 1000:
                    asked.append(1)
                    if len(asked) > begun_with:
                        began.set()
                        go_on.wait(20)
                    yield SIGNAL[:1600]

            task = asyncio.create_task(wvad.aio.scores(blocks(), 16000, model=MODEL))
            while not began.is_set():
                await asyncio.sleep(0.001)
            task.cancel()
            await asyncio.sleep(0.01)
            go_on.set()
            with self.assertRaises(asyncio.CancelledError):
                await task
            self.assertLessEqual(len(asked), begun_with + 2)

    async def test_a_cancelled_push_is_waited_for_and_its_events_come_with_the_next_call(self):
        for times_cancelled in (1, 2, 3):
            with self.subTest(times_cancelled):
                await self.cancel_a_push(times_cancelled)

    async def cancel_a_push(self, times_cancelled):
        with wvad.Stream(model=MODEL) as plain:
            wanted = plain.push(SIGNAL) + plain.finish()
        async with wvad.aio.Stream(model=MODEL) as stream:
            began, go_on = threading.Event(), threading.Event()
            push = stream._stream.push

            def slow(samples):
                began.set()
                go_on.wait(20)
                return push(samples)

            stream._stream.push = slow
            task = asyncio.create_task(stream.push(SIGNAL))
            while not began.is_set():
                await asyncio.sleep(0.001)
            for _ in range(times_cancelled):
                task.cancel()
                await asyncio.sleep(0.01)
                self.assertFalse(task.done())
            go_on.set()
            with self.assertRaises(asyncio.CancelledError):
                await task
            self.assertEqual(await stream.finish(), wanted)

    async def test_tasks_on_one_stream_take_turns(self):
        async with wvad.aio.Stream(model=MODEL) as stream:
            await asyncio.gather(*(stream.push(SIGNAL[:16000]) for _ in range(8)))
            self.assertEqual(stream.info.samples, 8 * 16000)

    async def test_a_loop_that_is_left_closes_the_source(self):
        closed = []

        def source():
            try:
                while True:
                    yield SIGNAL
            finally:
                closed.append(True)

        sentences = wvad.aio.segment(source(), 16000, model=MODEL)
        async for _ in sentences:
            break
        await sentences.aclose()
        self.assertEqual(closed, [True])


if __name__ == "__main__":
    unittest.main()

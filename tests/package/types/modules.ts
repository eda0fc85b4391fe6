// Uses everything of the further modules as an application would.
import { PointerStream, type DroppedItem, type PointerItem } from 'zebbridge/pointer';
import { applyUpdate, updateErrors, UpdateError, type UpdateErrorRecord } from 'zebbridge/updates';

const pointer = new PointerStream();
export let distance = 0;
const onMotion = ({ offset, screenPoint }: { offset: { x: number }; screenPoint: { y: number } }): void => {
  distance += offset.x + screenPoint.y;
};
pointer
  .on('motion', onMotion)
  .once('buttons', function ({ left }) {
    if (left === 2) this.stop();
  })
  .on('error', (error) => console.log(error.message))
  .off('motion', onMotion)
  .removeAllListeners('motion');
pointer.emit('motion', { offset: { x: 1, y: 1 }, screenPoint: { x: 0, y: 0 } });
if (!pointer.start().capturing) pointer.stop()[Symbol.dispose]();

const missed = ({ motions, transitions, offset, left }: DroppedItem): number => motions + transitions + offset.y + left;

export async function loop(signal: AbortSignal): Promise<void> {
  for await (const event of pointer.events({ signal, limit: 10 })) {
    const item: PointerItem = event;
    if (item.type === 'dropped') distance += missed(item);
    else if (item.type === 'motion') distance += item.screenPoint.x;
    else distance += item.middle;
  }
}

export async function update(signal: AbortSignal): Promise<UpdateErrorRecord[]> {
  try {
    return await applyUpdate('https://example.com/app.msix', { signal, schemes: ['ms-appx'] });
  } catch (error) {
    if (error instanceof UpdateError && error.code !== undefined) console.log(error.code.length, error.hresult);
  }
  const records = await updateErrors({
    since: new Date(),
    until: Date.now(),
    levels: ['error'],
    limit: 2,
    order: 'oldest',
    channel: 'A',
  });
  for (const { time, id, level, provider, text, data, xml } of records) {
    console.log(time?.getTime(), id + 1, level + provider + text + xml, data.ErrorCode);
  }
  return updateErrors({ query: '*' });
}

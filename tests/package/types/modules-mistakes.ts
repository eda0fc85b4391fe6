// What the types of the modules must refuse. Every marked line is an error, and no other line is.
import { PointerStream } from 'zebbridge/pointer';
import { applyUpdate, updateErrors } from 'zebbridge/updates';

const pointer = new PointerStream();
// @ts-expect-error: no such event
pointer.on('wheel', () => {});
// @ts-expect-error: buttons have no offset
pointer.on('buttons', ({ offset }) => offset);
// @ts-expect-error: read-only
pointer.capturing = true;
// @ts-expect-error: a number
pointer.events({ limit: '5' });
// @ts-expect-error: text
applyUpdate(new URL('https://example.com/app.msix'));
// @ts-expect-error: no such level
updateErrors({ levels: ['fatal'] });
// @ts-expect-error: no such option
updateErrors({ level: ['error'] });
// @ts-expect-error: the promise never resolves
applyUpdate('https://example.com/app.msix').then((value) => value.done);

import { useApp } from '../app.js';

/** Says why nothing new comes. */
export function ConnectionBanner() {
  const state = useApp().connection.state.value;
  return (
    <div class="connection" role="status">
      {state === 'lost' && <p>Connection lost. Trying again…</p>}
      {state === 'expired' && (
        <p>
          This session has ended. Open the address that <code>quorvin serve</code> prints.
        </p>
      )}
    </div>
  );
}

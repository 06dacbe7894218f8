#include "MGAclPlugin.h"

#include "MGAclPropagationView.h"
#include "MGAlert.h"
#include "NTLocalizedString.h"


MGAclExpectation MGAclPlugin::expectation() const
{
    const MGAclItemStamp read = m_session->readStamp();
    return {revertedEntries(), read.known ? std::optional<MGItemIdentity>({read.device, read.inode, read.born}) : std::nullopt};
}

void MGAclPlugin::saveEntries(QObject *sender)
{
    const Pointer self = shared_from_this();
    // Taken here, on the main thread: the work queue gets entries nobody edits meanwhile.
    MGAclList copy = MGAclLists::deepCopy(entries());
    const bool closeWhenSaved = sender == nullptr;
    const QString aclUnavailable = m_aclUnavailable;
    // Sends the list; a failure, or a dismissed authorisation, ends in a reload. A list the
    // item's store cannot hold is refused here, before anything is sent, and the edits stay.
    auto save = [self, closeWhenSaved, aclUnavailable](MGAclList list) {
        if (const auto problem = MGAclLists::posixProblem(list)) {
            self->showError(MGError::errorWithError(MGError::posixError(EINVAL, *problem),
                                                    MGAclProtocol::description(MGAclRemoteMethod::SetEntries)));
            return;
        }
        if (!aclUnavailable.isEmpty() && !MGAclLists::aclEntries(list).isEmpty()) {
            self->showError(MGError::errorWithError(MGError::posixError(EOPNOTSUPP, aclUnavailable),
                                                    MGAclProtocol::description(MGAclRemoteMethod::SetEntries)));
            return;
        }
        // Written only if the item still holds what the window read from it, and is still the
        // file it was read from: a name that now means another file is not written to.
        const MGAclExpectation expected = self->expectation();
        self->sendEntries(MGAclRemoteMethod::SetEntries, list, self->url(), [self, closeWhenSaved, list](auto outcome) {
            if (outcome.kind == outcome.Succeeded) {
                MGMainQueue::async([self, closeWhenSaved] {
                    self->m_session->forgetDiscardedEdits();
                    if (MGWindow *window = self->window(); window && closeWhenSaved)
                        window->closeWithoutAsking();
                });
                if (closeWhenSaved)
                    return;
            } else {
                if (outcome.error)
                    self->showError(*outcome.error);
                // The item is read again, as after any save; the edits are kept aside, and
                // the bar offers them back.
                MGMainQueue::async([self, list] { self->m_session->keepDiscardedEdits(list); });
            }
            self->reload();
        }, expected);
    };
    queue()->async([self, copy, save]() mutable {
        // Entries without any permission are left out, once the user agrees.
        QList<qsizetype> positions;
        const QList<MGAclEntry::Pointer> acl = MGAclLists::aclEntries(copy);
        for (qsizetype i = 0; i < acl.size(); ++i) {
            if (acl[i]->isShallow())
                positions << i + 1;
        }
        if (positions.isEmpty())
            return save(copy);
        QStringList numbers;
        for (qsizetype i = positions.size() - 1; i >= 0; --i)
            copy.removeAt(positions[i]);
        for (qsizetype position : std::as_const(positions))
            numbers << QString::number(position);
        const QString text = numbers.join(QStringLiteral(", "));
        MGMainQueue::async([self, copy, save, text] {
            const MGAlert alert(
                MGAlert::Critical, QStringLiteral("File Access Control List contains shallow entries"),
                QStringLiteral("File Access Control List entries on positions (%1) are shallow entries (with no "
                               "permissions set) and they will be ignored during saving. Do you still want to save "
                               "Access Control List entries?")
                    .arg(text),
                {QStringLiteral("Save"), QStringLiteral("Cancel")});
            alert.beginSheetModalForWindow(self->window(), [self, copy, save](int response) {
                if (response == MGAlert::FirstButtonReturn)
                    self->queue()->async([copy, save] { save(copy); });
            });
        });
    });
}

void MGAclPlugin::propagateEntries(QObject *)
{
    const Pointer self = shared_from_this();
    const MGAlert alert(
        MGAlert::Critical,
        NTLocalizedString::localize(
            QStringLiteral("Are you sure you want to propagate ACL, owner, group, and permissions to all items down the "
                           "directory hierarchy?"),
            QStringLiteral("ACL")),
        NTLocalizedString::localize(QStringLiteral("You cannot undo this.")),
        {NTLocalizedString::localize(QStringLiteral("OK")), NTLocalizedString::localize(QStringLiteral("Cancel"))});
    alert.beginSheetModalForWindow(window(), [self](int response) {
        if (response == MGAlert::FirstButtonReturn)
            self->startPropagation();
    });
}

void MGAclPlugin::startPropagation()
{
    const Pointer self = shared_from_this();
    if (!m_propagationView) {
        m_propagationView = new MGAclPropagationView;
        window()->addAccessoryView(m_propagationView, Qt::BottomEdge);
    }
    // The strip follows the walk; its last report (finished) is the summary it ends with.
    QPointer<MGAclPropagationView> view = m_propagationView;
    view->start();
    auto last = std::make_shared<std::optional<MGPropagationProgress>>();
    auto watch = std::make_shared<MGPropagationWatch>([view, last](const MGPropagationProgress &progress) {
        MGMainQueue::async([view, last, progress] {
            if (progress.finished)
                *last = progress;
            else if (view)
                view->showProgress(progress);
        });
    });
    QObject::disconnect(view, &MGAclPropagationView::stopClicked, nullptr, nullptr);
    QObject::connect(view, &MGAclPropagationView::stopClicked, view, [view, watch] {
        view->showStopping();
        watch->stop();
    });
    queue()->async([self, watch, view, last] {
        // Propagated only if the folder still holds what the window read from it.
        self->sendEntries(
            MGAclRemoteMethod::PropagateEntries, self->entriesSnapshot(), self->url(),
            [self, view, last](auto outcome) {
                const bool failed = outcome.kind == outcome.Failed;
                if (failed && outcome.error)
                    self->showError(*outcome.error);
                MGMainQueue::async([view, last, failed, cancelled = outcome.kind == outcome.Cancelled] {
                    if (!view)
                        return;
                    if (*last)
                        view->showSummary(**last, failed);
                    else
                        view->hide(); // refused before it began: the alert says why
                    Q_UNUSED(cancelled);
                });
            },
            self->expectation(), watch);
    });
}
